#include "tests/panel/PanelProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace
{

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kLongestWait{60};

// Reads what there is; false at the end, and the descriptor is closed then.
bool drain(int& fd, std::string& text)
{
    char bytes[4096];
    const ssize_t count = ::read(fd, bytes, sizeof bytes);
    if (count > 0) {
        text.append(bytes, static_cast<std::size_t>(count));
        return true;
    }
    ::close(fd);  // the other side of a terminal answers with an error
    fd = -1;
    return false;
}

int count(const std::string& text, const std::string& piece)
{
    int found = 0;
    for (std::size_t at = text.find(piece); at != text.npos; at = text.find(piece, at + 1)) ++found;
    return found;
}

void openTerminal(int& master, int& slave)
{
    master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) {
        throw std::runtime_error("no terminal");
    }
    slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

// A pipe of 4096 bytes that does not block.
void makeSmall(int fd, bool full)
{
    const std::string bytes(4096, 'x');
    if (::fcntl(fd, F_SETPIPE_SZ, 4096) < 0 || ::fcntl(fd, F_SETFL, O_NONBLOCK) != 0 ||
        (full && ::write(fd, bytes.data(), bytes.size()) != 4096)) {
        throw std::runtime_error("no small pipe");
    }
}

}  // namespace

std::string withoutTimes(const std::string& text)
{
    using std::regex_replace;
    const std::string plain =
        regex_replace(text, std::regex("(^|\n)[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "), "$1");
    const std::string json = regex_replace(
        regex_replace(plain, std::regex("\"ms\":[0-9.]+"), "\"ms\":T"),
        std::regex(
            "\"time\":\"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z\""),
        "\"time\":T");
    return regex_replace(json, std::regex("[0-9]+\\.[0-9]+ ms"), "T ms");
}

std::vector<std::string> programWords(const std::string& text)
{
    std::vector<std::string> words;
    std::istringstream pieces(text);
    for (std::string word; std::getline(pieces, word, '|');) words.push_back(word);
    return words;
}

TestFolder::TestFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "orva-panel-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test");
    m_path = name;
}

TestFolder::~TestFolder() { std::filesystem::remove_all(m_path); }

std::string TestFolder::write(const std::string& name, const std::string& content) const
{
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
}

std::string TestFolder::read(const std::string& name) const
{
    std::ifstream file(path(name), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

PanelProgram::~PanelProgram()
{
    if (m_child > 0) {
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
    }
    if (m_outFd >= 0) ::close(m_outFd);
    if (m_errFd >= 0) ::close(m_errFd);
}

void PanelProgram::start(const std::vector<std::string>& arguments, bool terminal)
{
    m_result = {};
    std::vector<std::string> words = programWords(PANEL_PROGRAM);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    ::setenv("ORVA_TEST_SCRIPT", m_folder.path("script").c_str(), 1);
    ::setenv("TERM", m_term.c_str(), 1);
    ::setenv("ORVA_DRIVER", m_driver.c_str(), 1);
    ::setenv("ORVA_TEST_LOG", m_folder.path("log").c_str(), 1);
    int out[2];
    int err[2];
    if (terminal) {
        openTerminal(out[0], out[1]);
        const winsize size = {m_rows, m_columns, 0, 0};
        if (::ioctl(out[1], TIOCSWINSZ, &size) != 0) throw std::runtime_error("no window");
    } else if (::pipe2(out, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    if (m_smallPipe) makeSmall(out[1], m_fullPipes);
    if (m_errorTerminal) {
        openTerminal(err[0], err[1]);
    } else if (::pipe2(err, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    if (m_fullPipes) makeSmall(err[1], true);
    m_child = ::fork();
    if (m_child == 0) {
        ::dup2(m_outputIsFull ? ::open("/dev/full", O_WRONLY) : out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    m_outFd = out[0];
    m_errFd = err[0];
}

int PanelProgram::waitingOutput() const
{
    int bytes = 0;
    return ::ioctl(m_outFd, FIONREAD, &bytes) == 0 ? bytes : -1;
}

bool PanelProgram::readSome(int timeoutMs)
{
    pollfd entries[2] = {{m_outFd, POLLIN, 0}, {m_errFd, POLLIN, 0}};
    if (::poll(entries, 2, timeoutMs) <= 0) return false;
    if (entries[0].revents != 0) drain(m_outFd, m_result.out);
    if (entries[1].revents != 0) drain(m_errFd, m_result.err);
    return true;
}

bool PanelProgram::waitForOutput(const std::string& text, int times)
{
    const auto deadline = Clock::now() + kLongestWait;
    while (count(m_result.out, text) < times && count(m_result.err, text) < times) {
        if ((m_outFd < 0 && m_errFd < 0) || Clock::now() > deadline) return false;
        readSome(1000);
    }
    return true;
}

void PanelProgram::signal(int number) const { ::kill(m_child, number); }

Finished PanelProgram::finish()
{
    const auto deadline = Clock::now() + kLongestWait;
    while ((m_outFd >= 0 || m_errFd >= 0) && Clock::now() < deadline) readSome(1000);
    if (m_outFd >= 0 || m_errFd >= 0) ::kill(m_child, SIGKILL);
    int status = 0;
    ::waitpid(m_child, &status, 0);
    m_child = -1;
    m_result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return m_result;
}

Finished PanelProgram::run(const std::vector<std::string>& arguments)
{
    start(arguments);
    return finish();
}

Finished PanelProgram::runOnTerminal(const std::vector<std::string>& arguments)
{
    start(arguments, true);
    return finish();
}

std::string plugin(const std::string& name)
{
    return std::string(PANEL_PLUGINS "/") + name + ".so";
}
