#pragma once

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

// A program that the test has started, with its output caught. Killed at the
// end if it is still there.
class ChildProcess
{
public:
    // Output that the test never reads; there is no room left for it from the beginning.
    enum class Unread { kNone, kOut, kErr };

    explicit ChildProcess(const std::vector<std::string>& words, Unread unread = Unread::kNone)
    {
        int out[2];
        int err[2];
        if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        if (unread == Unread::kOut) m_out.fill(out[1]);
        if (unread == Unread::kErr) m_err.fill(err[1]);
        std::vector<char*> arguments;
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
        const int failure =
            ::posix_spawnp(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        ::close(err[1]);
        m_out.descriptor = out[0];
        m_err.descriptor = err[0];
        ::fcntl(out[0], F_SETFL, O_NONBLOCK);
        ::fcntl(err[0], F_SETFL, O_NONBLOCK);
        if (failure != 0) throw std::runtime_error("cannot start " + words[0]);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess()
    {
        if (!m_ended) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        ::close(m_out.descriptor);
        ::close(m_err.descriptor);
    }

    pid_t id() const { return m_pid; }
    void signal(int number) { ::kill(m_pid, number); }

    // What it has written so far.
    const std::string& out() { return m_out.read(); }
    const std::string& err() { return m_err.read(); }

    // Looks again and again until the condition holds; false when it never does.
    template <class Condition>
    bool waitFor(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            // Wakes early when there is output; the condition may be about something else.
            pollfd poll = {m_out.descriptor, POLLIN, 0};
            ::poll(&poll, m_out.ended ? 0 : 1, 2);
        }
        return true;
    }

    // Waits for its end; -1 when it does not end, or not by itself.
    int exitCode()
    {
        int status = 0;
        waitFor([&] {
            out();
            err();
            m_ended = m_ended || ::waitpid(m_pid, &status, WNOHANG) == m_pid;
            return m_ended;
        });
        out();
        err();
        return m_ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    struct Pipe {
        int descriptor = -1;
        bool ended = false;
        bool unread = false;
        std::string text;

        void fill(int writeEnd)
        {
            unread = true;
            ::fcntl(writeEnd, F_SETFL, O_NONBLOCK);
            const std::string chunk(4096, '.');
            while (::write(writeEnd, chunk.data(), chunk.size()) > 0) {
            }
            ::fcntl(writeEnd, F_SETFL, 0);
        }
        const std::string& read()
        {
            if (unread) return text;
            char chunk[4096];
            ssize_t count = 0;
            while ((count = ::read(descriptor, chunk, sizeof chunk)) > 0) {
                text.append(chunk, static_cast<std::size_t>(count));
            }
            ended = ended || count == 0;
            return text;
        }
    };

    pid_t m_pid = -1;
    bool m_ended = false;
    Pipe m_out;
    Pipe m_err;
};
