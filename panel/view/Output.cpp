#include "panel/view/Output.h"

#include "panel/runtime/DisplayText.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/WriteAll.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace panel
{

namespace
{

constexpr std::size_t kMaxDriverTextBytes = 65536;

bool isTerminal(int fd) { return ::isatty(fd) == 1; }

}  // namespace

Output::Output(DriverText driverText) : m_out(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
{
    if (!m_out) throw PanelError("there is no standard output");
    std::fflush(stdout);
    int target = driverText == DriverText::kToStderr ? STDERR_FILENO : STDOUT_FILENO;
    if (driverText == DriverText::kCollected || isTerminal(target)) {
        if (driverText != DriverText::kCollected) {
            m_showAt = target == STDOUT_FILENO ? m_out.get() : target;
        }
        // A file and no pipe: nobody reads while the driver prints.
        m_collected.reset(::memfd_create("driver-text", MFD_CLOEXEC));
        target = m_collected.get();
    }
    if (target != STDOUT_FILENO && (target < 0 || ::dup2(target, STDOUT_FILENO) < 0)) {
        throw PanelError("cannot redirect the standard output");
    }
}

Output::~Output()
{
    showDriverText();
    ::dup2(m_out.get(), STDOUT_FILENO);
}

void Output::write(std::string_view text)
{
    showDriverText();
    if (!writeAll(m_out.get(), text)) throw PanelError("cannot write to the standard output");
}

void Output::showDriverText()
{
    std::fflush(stdout);
    // What cannot be shown is no result, which will tell.
    if (m_showAt >= 0) static_cast<void>(writeAll(m_showAt, takeDriverText()));
}

std::string Output::takeDriverText()
{
    std::fflush(stdout);
    struct stat status = {};
    if (!m_collected || ::fstat(m_collected.get(), &status) != 0) return {};
    const auto all = static_cast<std::size_t>(status.st_size);
    std::string text(std::min(all, kMaxDriverTextBytes), '\0');
    const ssize_t count = ::pread(m_collected.get(), text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    // Both descriptors share one offset, so the next text starts at 0 again.
    if (::ftruncate(m_collected.get(), 0) != 0 || ::lseek(m_collected.get(), 0, SEEK_SET) != 0) {
        return {};
    }
    std::string lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines += displayText(std::string_view(text).substr(begin, end - begin)) + "\n";
        begin = end + 1;
    }
    if (all > text.size())
        lines += "... and " + std::to_string(all - text.size()) + " bytes more\n";
    return lines;
}

Output::Window Output::window() const
{
    winsize size = {};
    if (::ioctl(m_out.get(), TIOCGWINSZ, &size) != 0) return {};
    return {size.ws_row, size.ws_col};
}

bool Output::canDrawOver()
{
    const char* kind = std::getenv("TERM");
    return isTerminal(STDOUT_FILENO) && kind != nullptr && *kind != '\0' &&
           std::string_view(kind) != "dumb";
}

}  // namespace panel
