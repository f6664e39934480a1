#include "common/Descriptor.h"
#include "ctl/report/Report.h"
#include "platform/Deadline.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

extern char** environ;

namespace ctl
{
namespace
{

using QZ::Net::Deadline;

constexpr unsigned int kJournalTimeoutMs = 10 * 1000;
constexpr int kLookAgainMs = 5;
constexpr const char* kMaxJournalLines = "5000";

// Keeps the end of a text, from the beginning of a line on.
void keepEnd(ReportPart& part, std::string& text)
{
    if (text.size() <= kMaxLogBytes) return;
    const std::size_t line = text.find('\n', text.size() - kMaxLogBytes);
    text.erase(0, line == text.npos ? text.size() - kMaxLogBytes : line + 1);
    part.isCut = true;
}

ReportPart endOfFile(ReportPart part, const std::string& path)
{
    const common::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        part.problem = path + ": " + (file ? "no regular file" : std::strerror(errno));
        return part;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    // One byte more tells that there is more.
    std::string text(std::min(size, kMaxLogBytes + 1), '\0');
    const ssize_t count =
        ::pread(file.get(), text.data(), text.size(), static_cast<off_t>(size - text.size()));
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    keepEnd(part, text);
    part.content = text;
    return part;
}

// Everything that the program writes, and its exit code; killed at the deadline.
int outputOf(const char* const* words, std::string& text, ReportPart& part)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return -1;
    const common::Descriptor reading(ends[0]);
    common::Descriptor writing(ends[1]);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, writing.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, words[0], &actions, nullptr,
                                     const_cast<char* const*>(words), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        part.problem = std::string(words[0]) + ": " + std::strerror(error);
        return -1;
    }
    writing.reset();
    const Deadline deadline(kJournalTimeoutMs);
    std::array<char, 16 * 1024> bytes{};
    while (true) {
        pollfd entry = {reading.get(), POLLIN, 0};
        if (::poll(&entry, 1, deadline.pollTimeoutMs()) <= 0) {
            if (!deadline.passed()) continue;
            part.problem = std::string(words[0]) + " does not end";
            break;
        }
        const ssize_t count = ::read(reading.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        text.append(bytes.data(), static_cast<std::size_t>(count));
        if (text.size() > 2 * kMaxLogBytes) keepEnd(part, text);
    }
    // It may live on, with its output closed or not.
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (deadline.passed()) ::kill(child, SIGKILL);
        ::poll(nullptr, 0, kLookAgainMs);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ReportPart endOfJournal(ReportPart part)
{
    const std::array<const char*, 10> words = {
        "journalctl",        "--unit",  "orva-vpnd",      "--no-pager", "--quiet", "--output",
        "short-iso-precise", "--lines", kMaxJournalLines, nullptr};
    std::string text;
    const int exitCode = outputOf(words.data(), text, part);
    keepEnd(part, text);
    if (exitCode != 0 && part.problem.empty()) {
        part.problem = "journalctl ended with " + std::to_string(exitCode);
    }
    if (text.empty() && part.problem.empty()) {
        part.problem = "the journal has nothing of orva-vpnd, or not for this user";
    }
    if (!text.empty()) part.content = text;
    return part;
}

}  // namespace

ReportPart readLog(const std::string& file)
{
    ReportPart part;
    part.name = "log";
    return file.empty() ? endOfJournal(std::move(part)) : endOfFile(std::move(part), file);
}

}  // namespace ctl
