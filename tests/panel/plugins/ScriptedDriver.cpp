// A driver that plays a script: the text file that ORVA_TEST_SCRIPT names, one
// statement a line, words separated by blanks.
//   init CODE                   InitDevice answers so
//   cycle CODE [K=VALUE]...     the next cycle; the last one repeats
//   command WORD CODE [NAME=VALUE]...   what a command writes, by the variable's type
//   write CODE
//   hold NAME FILE              collections of the device wait, for 20 s at most, until FILE exists
//   slow FILE                   commands and writes wait for it in the same way
//   feed                        a device that waits feeds the host's watchdog
//   say TEXT                    collections print TEXT on standard output
//   pid                         collections note the number of the process
//   flood BYTES                 collections print so many bytes on standard output
//   vanish                      collections close the descriptors of the host
//   crash                       collections end the process
//   throw CALL KIND             create, init, collect, command, write, cleanup or destroy throws
//                               an int, a std exception, or an own type
// Every call it gets is a line in the file that ORVA_TEST_LOG names.
#include "host/HostInterface.h"

#include <poll.h>
#include <pthread.h>
#include <unistd.h>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <vector>

extern "C" {
std::int64_t Orva_GetTickCount() __attribute__((weak));
void watch_dog_report(pthread_t thread) __attribute__((weak));
}

namespace
{

struct Step {
    int code = 0;
    std::vector<std::pair<std::string, std::string>> values;
};

struct Script {
    int initCode = 0;
    int writeCode = 0;
    std::vector<Step> cycles;
    std::map<std::string, Step> commands;
    std::string holdName;
    std::string holdFile;
    std::string slowFile;
    std::string say;
    bool feed = false;
    bool crash = false;
    bool vanish = false;
    bool pid = false;
    long flood = 0;
    std::string throwingCall;
    std::string thrownKind;
};

// A type that is gone when the library is unloaded.
struct OwnException : std::exception {
    const char* what() const noexcept override { return "own"; }
};

Step readStep(std::istream& words)
{
    Step step;
    words >> step.code;
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        step.values.emplace_back(word.substr(0, equals), word.substr(equals + 1));
    }
    return step;
}

Script readScript(const char* path)
{
    Script script;
    if (path == nullptr) return script;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string statement;
        std::string word;
        words >> statement;
        if (statement == "init") words >> script.initCode;
        if (statement == "write") words >> script.writeCode;
        if (statement == "cycle") script.cycles.push_back(readStep(words));
        if (statement == "command" && words >> word) script.commands[word] = readStep(words);
        if (statement == "hold") words >> script.holdName >> script.holdFile;
        if (statement == "slow") words >> script.slowFile;
        if (statement == "say") std::getline(words >> std::ws, script.say);
        if (statement == "feed") script.feed = true;
        if (statement == "crash") script.crash = true;
        if (statement == "flood") words >> script.flood;
        if (statement == "pid") script.pid = true;
        if (statement == "vanish") script.vanish = true;
        if (statement == "throw") words >> script.throwingCall >> script.thrownKind;
    }
    return script;
}

void throwIn(const Script& script, const char* call)
{
    if (script.throwingCall != call) return;
    if (script.thrownKind == "int") throw 7;
    if (script.thrownKind == "own") throw OwnException();
    throw std::runtime_error("standard");
}

void waitForFile(const std::string& path, bool feed)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (::access(path.c_str(), F_OK) != 0 && std::chrono::steady_clock::now() < deadline) {
        if (feed && watch_dog_report) watch_dog_report(::pthread_self());
        ::poll(nullptr, 0, 5);
    }
}

class ScriptedDriver final : public IDeviceCtrl
{
public:
    ScriptedDriver(const char* name, IDevRtdbCtrl* rtdb)
        : m_script(readScript(std::getenv("ORVA_TEST_SCRIPT"))), m_name(name), m_rtdb(rtdb)
    {
        log("create " + m_name + (Orva_GetTickCount && watch_dog_report ? " with tools" : ""));
    }
    ~ScriptedDriver() override { log("destroy"); }
    const Script& script() const { return m_script; }

    int InitDevice(const unsigned char* pData, int nLen) override
    {
        std::string bytes;
        for (int i = 0; i < nLen; ++i) {
            char text[4];
            std::snprintf(text, sizeof text, " %02X", static_cast<unsigned>(pData[i]));
            bytes += text;
        }
        log("init" + bytes);
        throwIn(m_script, "init");
        return m_script.initCode;
    }
    int CleanupDevice() override
    {
        log("cleanup");
        throwIn(m_script, "cleanup");
        return 0;
    }
    int CollectDevData(const int* pChannels, int nCount) override
    {
        useCommunication();
        std::string flags;
        for (int i = 0; i < nCount; ++i) flags += pChannels[i] == 1 ? '1' : '0';
        if (m_script.pid) log("pid " + std::to_string(::getpid()));
        log("collect " + flags);
        throwIn(m_script, "collect");
        for (int fd = 3; m_script.vanish && fd < 64; ++fd) ::close(fd);
        if (m_name == m_script.holdName) waitForFile(m_script.holdFile, m_script.feed);
        if (m_script.crash) std::abort();
        if (!m_script.say.empty()) std::printf("%s\n", m_script.say.c_str());
        for (long i = 0; i < m_script.flood; ++i) std::putchar('x');
        std::fflush(stdout);
        if (m_script.cycles.empty()) return 0;
        const std::size_t last = m_script.cycles.size() - 1;
        const Step& step = m_script.cycles[m_cycle < last ? m_cycle : last];
        ++m_cycle;
        for (const auto& [number, value] : step.values) {
            const int index = std::stoi(number) - 1;
            if (index < nCount && pChannels[index] == 1) publish(index, value);
        }
        return step.code;
    }
    int DevIOCtrl(const char* szCmd) override
    {
        useCommunication();
        log(std::string("command ") + szCmd);
        throwIn(m_script, "command");
        if (!m_script.slowFile.empty()) waitForFile(m_script.slowFile, m_script.feed);
        const std::string command = szCmd;
        const auto found = m_script.commands.find(command.substr(0, command.find('(')));
        if (found == m_script.commands.end()) return 5;
        for (const auto& [name, value] : found->second.values) assign(name, value);
        return found->second.code;
    }
    int WriteChannel(int nChannel, DATATYPE type, void* pValue) override
    {
        std::ostringstream line;
        line << "write " << nChannel << ' ' << type << ' ';
        if (type == DATATYPE_INT) line << *static_cast<int*>(pValue);
        if (type == DATATYPE_DOUBLE) line << *static_cast<double*>(pValue);
        if (type == DATATYPE_STRING) line << static_cast<char*>(pValue);
        log(line.str());
        throwIn(m_script, "write");
        if (!m_script.slowFile.empty()) waitForFile(m_script.slowFile, m_script.feed);
        return m_script.writeCode;
    }
    int UpdataCommunication(ICommunication* pComm) override
    {
        log("communication");
        m_communication = pComm;
        return 0;
    }
    int ChannelRefChange(const int*, int) override { return 0; }

private:
    void useCommunication()
    {
        if (m_communication) m_communication->SetCurrentDevice(m_name.data());
    }
    void publish(int index, const std::string& value)
    {
        DATATYPE type{};
        if (m_rtdb->GetChannelType(index, &type) != 0) return;
        if (type == DATATYPE_INT) m_rtdb->SetChannelInt(index, std::stoi(value));
        if (type == DATATYPE_STRING) m_rtdb->SetChannelString(index, value);
    }
    void assign(const std::string& name, const std::string& value)
    {
        DATATYPE type{};
        if (m_rtdb->GetParamType(name.c_str(), type) != 0) return;
        if (type == DATATYPE_INT) m_rtdb->SetParamInt(name.c_str(), std::stoi(value));
        if (type == DATATYPE_DOUBLE) m_rtdb->SetParamDouble(name.c_str(), std::stod(value));
        if (type == DATATYPE_STRING) m_rtdb->SetParamString(name.c_str(), value);
    }
    static void log(const std::string& line)
    {
        const char* path = std::getenv("ORVA_TEST_LOG");
        if (path != nullptr) std::ofstream(path, std::ios::app) << line << '\n';
    }

    Script m_script;
    std::string m_name;
    IDevRtdbCtrl* m_rtdb;
    ICommunication* m_communication = nullptr;
    std::size_t m_cycle = 0;
};

}  // namespace

extern "C" {
[[gnu::visibility("default")]] IDeviceCtrl* CreateDeviceCtrl(const char* name, IDevRtdbCtrl* rtdb);
[[gnu::visibility("default")]] int DestroyDeviceCtrl(IDeviceCtrl* device);
}

IDeviceCtrl* CreateDeviceCtrl(const char* name, IDevRtdbCtrl* rtdb)
{
    auto device = std::make_unique<ScriptedDriver>(name, rtdb);
    throwIn(device->script(), "create");
    return device.release();
}

int DestroyDeviceCtrl(IDeviceCtrl* device)
{
    const Script script = static_cast<ScriptedDriver*>(device)->script();
    delete device;
    throwIn(script, "destroy");
    return 0;
}
