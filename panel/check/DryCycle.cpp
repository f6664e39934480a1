#include "panel/check/DryCycle.h"

#include "host/StatusCodes.h"
#include "panel/check/LoadDriver.h"
#include "panel/runtime/ConfigBlob.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/CodeNames.h"
#include "panel/view/TextLines.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <csignal>
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

constexpr std::size_t kMaxReportBytes = 65536;
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

[[noreturn]] void runChild(const std::string& path, int fd)
{
    std::set_terminate(std::abort);  // a crash that the parent sees as one
    const rlimit noCore = {0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);  // the driver's own text is no part of the report
    const Reporter reporter(fd);
    try {
        live(path, reporter);
        reporter.line(kStep, "");
    } catch (const std::exception& error) {
        reporter.line(kError, error.what());
    } catch (...) {
        reporter.line(kError, "an exception of unknown type came out of the library");
    }
    ::_exit(0);
}

// Everything the child reports until it closes the pipe; false when the time is over.
bool readReport(int fd, Clock::time_point deadline, std::string& report)
{
    while (report.size() < kMaxReportBytes) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        pollfd entry = {fd, POLLIN, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(left));
        if (ready <= 0) continue;
        std::array<char, 1024> bytes;
        const ssize_t count = ::read(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return true;
        report.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return true;
}

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
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw PanelError("no descriptor left for a pipe");
    // On purpose without exec: the child's work is this program's own, and with one
    // thread only there is no lock that the fork could leave behind.
    const pid_t child = ::fork();
    if (child == 0) runChild(library, ends[1]);
    ::close(ends[1]);
    std::string report;
    const Clock::time_point deadline = Clock::now() + timeout;
    bool inTime = child > 0 && readReport(ends[0], deadline, report);
    ::close(ends[0]);
    if (child < 0) throw PanelError("cannot start a process for the dry cycle");
    int status = 0;
    inTime = inTime && endsBy(child, deadline, status);
    if (!inTime) {
        ::kill(child, SIGKILL);
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }

    const std::string step = lastLine(report, kStep);
    const std::string error = lastLine(report, kError);
    if (!inTime) return {false, "hangs in " + (step.empty() ? "ending" : step)};
    if (!error.empty()) return {false, error};
    if (WIFSIGNALED(status)) {
        return {false, "crashes in " + step + ": " + ::strsignal(WTERMSIG(status))};
    }
    if (!step.empty() || WEXITSTATUS(status) != 0) {
        return {false, "ends the process in " + step + " with exit code " +
                           std::to_string(WEXITSTATUS(status))};
    }
    return {true, lastLine(report, kOutcome)};
}

}  // namespace panel
