#pragma once

#include "host/HostInterface.h"

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace scripted
{

// The host's database: variables that hold their type, channels that remember
// what was published. A hook runs inside each host call, to come back into the driver.
class FakeRtdb : public IDevRtdbCtrl
{
public:
    using Value = std::variant<int, double, std::string>;

    virtual ~FakeRtdb() = default;

    std::map<std::string, Value> variables;
    std::map<std::string, DATATYPE> oddTypes;  // types of the host's own, by variable
    std::map<int, DATATYPE> channelTypes;      // by host index; no entry: the query fails
    std::vector<std::pair<int, Value>> published;
    std::vector<std::string> asked;  // names given to GetParamType
    int writeCalls = 0;              // SetParam… calls
    int status = 0;                  // what parameter operations answer
    std::function<void()> hook;

    // The ten channels with the types that a project gives them.
    void declareChannels()
    {
        for (int i = 0; i < 10; ++i) {
            const bool text = i == 0 || i == 2 || i == 4 || i >= 7;
            channelTypes[i] = text ? DATATYPE_STRING : DATATYPE_INT;
        }
    }

    int GetParamType(const char* name, DATATYPE& type) override
    {
        asked.push_back(name);
        const auto odd = oddTypes.find(name);
        if (odd != oddTypes.end()) {
            type = odd->second;
            return status;
        }
        const auto found = variables.find(name);
        if (found == variables.end()) return 1;
        type = static_cast<DATATYPE>(found->second.index() + 1);
        return status;
    }
    int GetParamInt(const char* name, int* value) override { return get(name, *value); }
    int GetParamDouble(const char* name, double* value) override { return get(name, *value); }
    int GetParamString(const char* name, std::string& value) override { return get(name, value); }
    int SetParamInt(const char* name, int value) override { return set(name, value); }
    int SetParamDouble(const char* name, double value) override { return set(name, value); }
    int SetParamString(const char* name, const std::string& value) override
    {
        return set(name, value);
    }
    int GetChannelType(int channel, DATATYPE* type) override
    {
        run();
        const auto found = channelTypes.find(channel);
        if (found == channelTypes.end()) return 1;
        *type = found->second;
        return 0;
    }
    int SetChannelInt(int channel, int value) override { return publish(channel, value); }
    int SetChannelDouble(int channel, double value) override { return publish(channel, value); }
    int SetChannelString(int channel, const std::string& value) override
    {
        return publish(channel, value);
    }

private:
    void run()
    {
        if (hook) std::exchange(hook, nullptr)();
    }
    template <class T>
    int get(const char* name, T& value)
    {
        const auto found = variables.find(name);
        if (found == variables.end() || !std::holds_alternative<T>(found->second)) return 1;
        value = std::get<T>(found->second);
        return status;
    }
    template <class T>
    int set(const char* name, const T& value)
    {
        ++writeCalls;
        variables[name] = value;
        return status;
    }
    template <class T>
    int publish(int channel, const T& value)
    {
        run();
        published.emplace_back(channel, value);
        return status;
    }
};

class FakeCommunication : public ICommunication
{
public:
    virtual ~FakeCommunication() = default;

    int mode = 1;
    std::vector<std::string> devices;  // names given to SetCurrentDevice
    std::vector<char*> buffers;        // where they stood
    std::function<void()> hook;

    int SetCurrentDevice(char* name) override
    {
        devices.push_back(name);
        buffers.push_back(name);
        if (name[0] != '\0') name[0] = '#';  // the buffer is the host's to scribble on
        if (hook) hook();
        return 7;
    }
    int GetCommMode() override
    {
        if (hook) hook();
        return mode;
    }
};

}  // namespace scripted
