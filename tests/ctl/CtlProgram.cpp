#include "tests/ctl/CtlProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace
{

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kLongestWait{60};

bool drain(int& fd, std::string& text)
{
    char bytes[4096];
    const ssize_t count = ::read(fd, bytes, sizeof bytes);
    if (count > 0) {
        text.append(bytes, static_cast<std::size_t>(count));
        return true;
    }
    ::close(fd);
    fd = -1;
    return false;
}

}  // namespace

CtlProgram::CtlProgram() : m_environment({{"LC_ALL", "C"}, {"TERM", "xterm"}})
{
    std::string name = (std::filesystem::temp_directory_path() / "orva-ctl-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test");
    m_folder = name;
}

CtlProgram::~CtlProgram()
{
    if (m_child > 0) {
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
    }
    for (const int fd : {m_out, m_err, m_terminal}) {
        if (fd >= 0) ::close(fd);
    }
    std::filesystem::remove_all(m_folder);
}

std::string CtlProgram::write(const std::string& name, const std::string& content) const
{
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
}

std::string CtlProgram::read(const std::string& name) const
{
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void CtlProgram::setEnvironment(const std::string& name, const std::string& value)
{
    m_environment[name] = value;
}

void CtlProgram::launch(const std::vector<std::string>& arguments, bool terminal)
{
    m_result = {};
    // Under an emulator the program is its last word.
    std::vector<std::string> words;
    std::istringstream pieces(CTL_PROGRAM);
    for (std::string word; std::getline(pieces, word, '|');) words.push_back(word);
    words.insert(words.end(), {"--control", socketPath()});
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    for (const char* name : {"NO_COLOR", "LANG", "LC_MESSAGES", "LANGUAGE"}) ::unsetenv(name);
    for (const auto& [name, value] : m_environment) ::setenv(name.c_str(), value.c_str(), 1);
    const std::string inputPath = write("input", m_input);
    const int input = ::open(inputPath.c_str(), O_RDONLY | O_CLOEXEC);
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
    int slave = -1;
    if (terminal) {
        m_terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (m_terminal < 0 || ::grantpt(m_terminal) != 0 || ::unlockpt(m_terminal) != 0) {
            throw std::runtime_error("no terminal");
        }
        slave = ::open(::ptsname(m_terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
        m_out = ::fcntl(m_terminal, F_DUPFD_CLOEXEC, 3);
    } else if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    m_child = ::fork();
    if (m_child == 0) {
        ::setsid();
        if (terminal) ::ioctl(slave, TIOCSCTTY, 0);
        ::dup2(terminal ? slave : input, STDIN_FILENO);
        ::dup2(terminal ? slave : out[1], STDOUT_FILENO);
        ::dup2(terminal ? slave : err[1], STDERR_FILENO);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(input);
    if (terminal) {
        ::close(slave);
        return;
    }
    ::close(out[1]);
    ::close(err[1]);
    m_out = out[0];
    m_err = err[0];
}

bool CtlProgram::readSome()
{
    pollfd entries[2] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
    if (::poll(entries, 2, 100) <= 0) return false;
    if (entries[0].revents != 0) drain(m_out, m_result.out);
    if (entries[1].revents != 0) drain(m_err, m_result.err);
    return true;
}

bool CtlProgram::waitForOutput(const std::string& text)
{
    const auto deadline = Clock::now() + kLongestWait;
    while (m_result.out.find(text) == std::string::npos &&
           m_result.err.find(text) == std::string::npos) {
        if ((m_out < 0 && m_err < 0) || Clock::now() > deadline) return false;
        readSome();
    }
    return true;
}

void CtlProgram::type(const std::string& text) const
{
    if (::write(m_terminal, text.data(), text.size()) < 0) throw std::runtime_error("no terminal");
}

void CtlProgram::signal(int number) const { ::kill(m_child, number); }

bool CtlProgram::echoes() const
{
    termios settings = {};
    if (::tcgetattr(m_terminal, &settings) != 0) throw std::runtime_error("no terminal");
    return (settings.c_lflag & ECHO) != 0;
}

std::string CtlProgram::commandLine() const
{
    std::ifstream file("/proc/" + std::to_string(m_child) + "/cmdline", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

CtlResult CtlProgram::finish()
{
    const auto deadline = Clock::now() + kLongestWait;
    while ((m_out >= 0 || m_err >= 0) && Clock::now() < deadline) readSome();
    if (m_out >= 0 || m_err >= 0) ::kill(m_child, SIGKILL);
    int status = 0;
    ::waitpid(m_child, &status, 0);
    m_child = -1;
    if (WIFEXITED(status)) m_result.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) m_result.signal = WTERMSIG(status);
    return m_result;
}

void CtlProgram::start(const std::vector<std::string>& arguments) { launch(arguments, false); }

void CtlProgram::startOnTerminal(const std::vector<std::string>& arguments)
{
    launch(arguments, true);
}

CtlResult CtlProgram::run(const std::vector<std::string>& arguments)
{
    start(arguments);
    return finish();
}
