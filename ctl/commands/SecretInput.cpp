#include "ctl/commands/SecretInput.h"

#include "common/Descriptor.h"
#include "ctl/base/Failure.h"
#include "platform/Deadline.h"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>

namespace ctl
{
namespace
{

using QZ::Net::Deadline;

constexpr unsigned int kTypingTimeMs = 5 * 60 * 1000;

// What ends or stops a program that waits for typing.
sigset_t endingSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int each : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) sigaddset(&set, each);
    return set;
}

// While it lives the terminal echoes nothing, and those signals wait. At its end the echo is
// back first, then the signals do what they would have done.
class WithoutEcho
{
public:
    WithoutEcho()
    {
        const sigset_t set = endingSignals();
        pthread_sigmask(SIG_BLOCK, &set, &m_maskBefore);
        m_signals.reset(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
        if (!m_signals || ::tcgetattr(STDIN_FILENO, &m_before) != 0) giveUp();
        termios quiet = m_before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        quiet.c_lflag |= ECHONL;
        // From the background this would stop the program; SIGTTOU does so before the change.
        if (::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) != 0) giveUp();
    }
    ~WithoutEcho()
    {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        pthread_sigmask(SIG_SETMASK, &m_maskBefore, nullptr);
    }
    WithoutEcho(const WithoutEcho&) = delete;
    WithoutEcho& operator=(const WithoutEcho&) = delete;

    // Readable when one of the signals waits; nobody reads it.
    int signals() const { return m_signals.get(); }

private:
    [[noreturn]] void giveUp()
    {
        pthread_sigmask(SIG_SETMASK, &m_maskBefore, nullptr);
        throw Failure(kExitFailed, "cannot turn the terminal's echo off");
    }

    sigset_t m_maskBefore{};
    termios m_before{};
    common::Descriptor m_signals;
};

enum class Came { kInput, kSignal };

Came waitForInput(int signals, const Deadline& deadline)
{
    std::array<pollfd, 2> entries = {{{STDIN_FILENO, POLLIN, 0}, {signals, POLLIN, 0}}};
    while (::poll(entries.data(), entries.size(), deadline.pollTimeoutMs()) <= 0) {
        if (deadline.passed()) throw Failure(kExitUsage, "no secret was given within 5 minutes");
    }
    return entries[1].revents != 0 ? Came::kSignal : Came::kInput;
}

// Up to the end of a line, or of the input; nothing when a signal came before.
std::optional<std::string> readLine(int signals, bool isOneLine, const Deadline& deadline)
{
    std::string text;
    while (!isOneLine || text.empty() || text.back() != '\n') {
        if (waitForInput(signals, deadline) == Came::kSignal) return std::nullopt;
        std::array<char, 256> bytes{};
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        text.append(bytes.data(), static_cast<std::size_t>(count));
        if (text.size() > kMaxSecretBytes) {
            throw Failure(kExitUsage, "the secret is longer than " +
                                          std::to_string(kMaxSecretBytes) + " bytes");
        }
    }
    return text;
}

std::string checked(std::string text)
{
    if (!text.empty() && text.back() == '\n') text.pop_back();
    if (!text.empty() && text.back() == '\r') text.pop_back();
    if (text.empty()) {
        throw Failure(kExitUsage, "no secret was given; type it, or give it on standard input");
    }
    if (text.find('\n') != text.npos) {
        throw Failure(kExitUsage, "the secret on standard input must be one line");
    }
    return text;
}

}  // namespace

std::string readSecret(const std::string& prompt)
{
    const Deadline deadline(kTypingTimeMs);
    if (::isatty(STDIN_FILENO) != 1) return checked(*readLine(-1, false, deadline));
    while (true) {
        // A signal that did not end the program: the prompt comes again.
        const WithoutEcho withoutEcho;
        std::fputs(prompt.c_str(), stderr);
        std::fflush(stderr);
        if (std::optional<std::string> line = readLine(withoutEcho.signals(), true, deadline)) {
            return checked(std::move(*line));
        }
    }
}

}  // namespace ctl
