#pragma once

#include <sys/types.h>
#include <map>
#include <string>
#include <vector>

// What a program left behind.
struct Finished {
    int exitCode = -1;  // -1: it was ended by a signal or by the deadline
    std::string out;
    std::string err;
};

// A folder of its own for one test, gone at its end.
class TestFolder
{
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string path(const std::string& name) const { return m_path + "/" + name; }
    // Writes a file and returns its path.
    std::string write(const std::string& name, const std::string& content) const;
    // The content; empty when there is no such file.
    std::string read(const std::string& name) const;

private:
    std::string m_path;
};

// orva-panel as a child process; everything waits for 60 s at most.
class PanelProgram
{
public:
    // The driver's script and its log stand in the folder.
    explicit PanelProgram(const TestFolder& folder) : m_folder(folder) {}
    ~PanelProgram();
    PanelProgram(const PanelProgram&) = delete;
    PanelProgram& operator=(const PanelProgram&) = delete;

    // What the scripted driver plays.
    void script(const std::string& text) const { m_folder.write("script", text); }
    // The calls that the scripted driver got, one a line.
    std::string calls() const { return m_folder.read("log"); }

    // From now on the terminal's window is so large; without it nobody knows.
    void resizeTerminal(unsigned short rows, unsigned short columns)
    {
        m_rows = rows;
        m_columns = columns;
    }
    // From now on it is told that this is its terminal's kind.
    void setTerm(const std::string& kind) { m_term = kind; }
    // From now on it finds this driver in its environment.
    void setDriver(const std::string& path) { m_driver = path; }
    // From now on its standard error is a terminal as well.
    void setErrorTerminal() { m_errorTerminal = true; }
    // From now on its standard output is a pipe of 4096 bytes that does not block.
    void setSmallPipe() { m_smallPipe = true; }
    // From now on its standard output and standard error are such pipes, and full of
    // "x"; what it writes stands behind these.
    void setFullPipes() { m_smallPipe = m_fullPipes = true; }
    // How much waits in its standard output to be read.
    int waitingOutput() const;
    // From now on its standard output takes nothing, as on a full disk.
    void fillStandardOutput() { m_outputIsFull = true; }

    // Runs it to its end.
    Finished run(const std::vector<std::string>& arguments);
    // The same with a terminal as its standard output.
    Finished runOnTerminal(const std::vector<std::string>& arguments);

    // Starts it; then wait for output, signal it, and finish.
    void start(const std::vector<std::string>& arguments, bool terminal = false);
    // Until text stands so often in its standard output or standard error; false
    // when that never came.
    bool waitForOutput(const std::string& text, int times = 1);
    void signal(int number) const;
    Finished finish();

private:
    bool readSome(int timeoutMs);

    const TestFolder& m_folder;
    bool m_outputIsFull = false;
    bool m_errorTerminal = false;
    bool m_smallPipe = false;
    bool m_fullPipes = false;
    std::string m_term = "xterm";
    std::string m_driver;
    unsigned short m_rows = 0;
    unsigned short m_columns = 0;
    pid_t m_child = -1;
    int m_outFd = -1;
    int m_errFd = -1;
    Finished m_result;
};

// The text without time stamps at the beginnings of its lines, and with T for
// durations and for the times in JSON.
std::string withoutTimes(const std::string& text);

// The words of a command line that stand in one text, with "|" between them.
std::vector<std::string> programWords(const std::string& text);

// A test driver by name, for example "scripted_driver".
std::string plugin(const std::string& name);
