#pragma once

#include <sys/types.h>
#include <map>
#include <string>
#include <vector>

struct CtlResult {
    int exitCode = -1;  // -1: by a signal, or not within 60 s
    int signal = 0;
    std::string out;  // of a terminal: both outputs
    std::string err;
};

// orva-vpnctl as a child process.
class CtlProgram
{
public:
    CtlProgram();
    ~CtlProgram();
    CtlProgram(const CtlProgram&) = delete;
    CtlProgram& operator=(const CtlProgram&) = delete;

    // Socket for the fake service, in a folder of its own that goes with this object.
    std::string socketPath() const { return path("s"); }
    std::string path(const std::string& name) const { return m_folder + "/" + name; }
    std::string write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;

    // Of the environment from now on; LC_ALL is C at first, TERM xterm.
    void setEnvironment(const std::string& name, const std::string& value);
    void setInput(const std::string& text) { m_input = text; }

    CtlResult run(const std::vector<std::string>& arguments);

    // With a terminal of its own for all three.
    void startOnTerminal(const std::vector<std::string>& arguments);
    void start(const std::vector<std::string>& arguments);
    // False when the text never comes.
    bool waitForOutput(const std::string& text);
    void type(const std::string& text) const;
    void signal(int number) const;
    // Whether the terminal echoes what is typed.
    bool echoes() const;
    // "/proc/self/cmdline" of it.
    std::string commandLine() const;
    CtlResult finish();

private:
    void launch(const std::vector<std::string>& arguments, bool terminal);
    bool readSome();

    std::string m_folder;
    std::map<std::string, std::string> m_environment;
    std::string m_input;
    pid_t m_child = -1;
    int m_out = -1;
    int m_err = -1;
    int m_terminal = -1;
    CtlResult m_result;
};
