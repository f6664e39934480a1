#include "panel/view/Output.h"

#include "panel/runtime/PanelError.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdio>

namespace panel
{

namespace
{

constexpr std::size_t kMaxDriverTextBytes = 4096;

}  // namespace

Output::Output(DriverText driverText) : m_out(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
{
    if (!m_out) throw PanelError("there is no standard output");
    std::fflush(stdout);
    int target = STDOUT_FILENO;
    if (driverText == DriverText::kToStderr) target = STDERR_FILENO;
    if (driverText == DriverText::kCollected) {
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
    std::fflush(stdout);
    ::dup2(m_out.get(), STDOUT_FILENO);
}

void Output::write(std::string_view text)
{
    std::fflush(stdout);
    while (!text.empty()) {
        const ssize_t count = ::write(m_out.get(), text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw PanelError("cannot write to the standard output");
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string Output::takeDriverText()
{
    std::fflush(stdout);
    if (!m_collected) return {};
    std::array<char, kMaxDriverTextBytes> bytes;
    const ssize_t count = ::pread(m_collected.get(), bytes.data(), bytes.size(), 0);
    // Both descriptors share one offset, so the next text starts at 0 again.
    if (::ftruncate(m_collected.get(), 0) != 0 || ::lseek(m_collected.get(), 0, SEEK_SET) != 0)
        return {};
    return std::string(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
}

Output::Window Output::window() const
{
    winsize size = {};
    if (::ioctl(m_out.get(), TIOCGWINSZ, &size) != 0) return {};
    return {size.ws_row, size.ws_col};
}

bool Output::isTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

}  // namespace panel
