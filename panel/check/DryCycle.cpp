#include "panel/check/DryCycle.h"

#include "common/Descriptor.h"
#include "host/StatusCodes.h"
#include "panel/check/LoadDriver.h"
#include "panel/runtime/ConfigBlob.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/CodeNames.h"
#include "panel/view/TextLines.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>

namespace panel
{

namespace
{

using Clock = std::chrono::steady_clock;

// More than these is read, so that nobody waits, and forgotten.
constexpr std::size_t kMaxReportBytes = 65536;
constexpr std::size_t kMaxTextBytes = 2048;
// A line of the child that starts so is the step that it is about to take.
constexpr char kStep = '>';
constexpr char kOutcome = '=';
constexpr char kError = '!';

// The child's side of the pipe.
class Reporter
{
public:
    explicit Reporter(int fd) : m_fd(fd) {}
    void line(char kind, std::string_view text) const
    {
        const std::string whole = kind + std::string(text) + '\n';
        // The parent has nothing to go on when this fails, and says so.
        if (::write(m_fd, whole.data(), whole.size()) < 0) ::_exit(1);
    }

private:
    int m_fd;
};

void live(const std::string& path, const Reporter& reporter)
{
    reporter.line(kStep, "loading");
    const std::unique_ptr<DriverLibrary> library = loadDriver(path);
    VariableStore variables;
    reporter.line(kStep, "CreateDeviceCtrl");
    auto session = std::make_unique<DeviceSession>(*library, "check", variables);
    reporter.line(kStep, "InitDevice");
    const int status = session->init(makeConfigBlob(kDefaultMaxChannel));
    if (status != kStatusOk) {
        reporter.line(kError, "InitDevice: " + codeWithMeaning(CodeOf::kInit, status));
        return;
    }
    reporter.line(kStep, "CollectDevData");
    const CycleResult result = session->collect(allChannels());
    reporter.line(kStep, "CleanupDevice and DestroyDeviceCtrl");
    session->close();
    reporter.line(kOutcome, codeWithMeaning(CodeOf::kCollect, result.code) + ", " +
                                std::to_string(result.channels.size()) + " channels, " +
                                durationText(result.ms));
    reporter.line(kStep, "unloading");
}

struct Pipe {
    common::Descriptor out;
    common::Descriptor in;
};

Pipe makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw PanelError("no descriptor left for a pipe");
    return {common::Descriptor(ends[0]), common::Descriptor(ends[1])};
}

[[noreturn]] void runChild(const std::string& path, pid_t parent, int reportFd, int textFd)
{
    // Nobody else would end a library that hangs when the program is ended meanwhile.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    std::set_terminate(std::abort);  // a crash that the parent sees as one
    const rlimit noCore = {0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    ::dup2(textFd, STDOUT_FILENO);
    const Reporter reporter(reportFd);
    try {
        live(path, reporter);
        reporter.line(kStep, "");
    } catch (const std::exception& error) {
        reporter.line(kError, error.what());
    } catch (...) {
        reporter.line(kError, "an exception of unknown type came out of the library");
    }
    std::fflush(stdout);
    ::_exit(0);
}

// What comes out of the child, from both of its pipes.
class ChildOutput
{
public:
    ChildOutput(common::Descriptor reportFd, common::Descriptor textFd)
        : m_report(std::move(reportFd)), m_text(std::move(textFd))
    {
    }

    // Everything until the child closes the report; false when the time is over. A
    // library that prints without end is read on, or it would wait for us.
    bool readUntil(Clock::time_point deadline)
    {
        while (m_report) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0) return false;
            readSome(static_cast<int>(left));
        }
        return true;
    }
    // What is left after the child's end.
    void readRest()
    {
        while (m_text && text.size() < kMaxTextBytes && readSome(0)) {
        }
    }

    std::string report;
    std::string text;

private:
    bool readSome(int timeoutMs)
    {
        // poll() passes over descriptors below 0.
        std::array<pollfd, 2> entries = {{{m_report.get(), POLLIN, 0}, {m_text.get(), POLLIN, 0}}};
        if (::poll(entries.data(), entries.size(), timeoutMs) <= 0) return false;
        if (entries[0].revents != 0) append(m_report, report, kMaxReportBytes);
        if (entries[1].revents != 0) append(m_text, text, kMaxTextBytes);
        return true;
    }
    static void append(common::Descriptor& from, std::string& to, std::size_t most)
    {
        std::array<char, 4096> bytes;
        const ssize_t count = ::read(from.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) return;
        if (count <= 0) {
            from.reset();
            return;
        }
        to.append(bytes.data(), std::min(static_cast<std::size_t>(count), most - to.size()));
    }

    common::Descriptor m_report;
    common::Descriptor m_text;
};

// Waits for the end of the child, whose closed pipe does not promise one: a
// library may close it and go on. False when the time is over.
bool endsBy(pid_t child, Clock::time_point deadline, int& status)
{
    constexpr int kLookPeriodMs = 5;
    while (true) {
        const pid_t ended = ::waitpid(child, &status, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR)) return true;
        if (Clock::now() >= deadline) return false;
        ::poll(nullptr, 0, kLookPeriodMs);
    }
}

// The last line of that kind, without its mark; nothing before the first one.
std::string lastLine(const std::string& report, char kind)
{
    std::string found;
    for (std::size_t begin = 0; begin < report.size();) {
        const std::size_t end = std::min(report.find('\n', begin), report.size());
        if (report[begin] == kind) found = report.substr(begin + 1, end - begin - 1);
        begin = end + 1;
    }
    return found;
}

}  // namespace

DryCycleResult runDryCycle(const std::string& library, std::chrono::milliseconds timeout)
{
    Pipe report = makePipe();
    Pipe text = makePipe();
    std::fflush(stdout);
    const pid_t self = ::getpid();
    // On purpose without exec: the child's work is this program's own, and with one
    // thread only there is no lock that the fork could leave behind.
    const pid_t child = ::fork();
    if (child == 0) runChild(library, self, report.in.get(), text.in.get());
    if (child < 0) throw PanelError("cannot start a process for the dry cycle");
    report.in.reset();
    text.in.reset();
    ChildOutput output(std::move(report.out), std::move(text.out));
    const Clock::time_point deadline = Clock::now() + timeout;
    int status = 0;
    const bool inTime = output.readUntil(deadline) && endsBy(child, deadline, status);
    if (!inTime) {
        ::kill(child, SIGKILL);
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    output.readRest();

    DryCycleResult result;
    result.printed = std::move(output.text);
    const std::string step = lastLine(output.report, kStep);
    result.text = lastLine(output.report, kError);
    if (!inTime) {
        result.text = "hangs in " + (step.empty() ? "ending" : step);
    } else if (!result.text.empty()) {
        // Its own words are the best there are.
    } else if (WIFSIGNALED(status)) {
        result.text = "crashes in " + step + ": " + ::strsignal(WTERMSIG(status));
    } else if (!step.empty() || WEXITSTATUS(status) != 0) {
        result.text = "ends the process in " + step + " with exit code " +
                      std::to_string(WEXITSTATUS(status));
    } else {
        result.text = lastLine(output.report, kOutcome);
        result.completed = true;
    }
    return result;
}

}  // namespace panel
