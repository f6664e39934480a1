#pragma once

#include "platform/QZUtils.h"
#include "vpnclient/DeviceVPNInfo.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

// A second implementation of the QZ classes for unit tests: no sockets; the test
// says what every step of a connection and of a call does, and sees what was done.
namespace scripted
{

using Bytes = std::string;
using Calls = std::vector<std::string>;
using Events = std::vector<std::string>;
// Runs in place of a step; raises what the test wants to be raised there.
using Fault = std::function<void()>;

// Faults by name.
void raiseNetException();
void raiseBlockError();
void raiseOther();   // a std::runtime_error
void raiseNumber();  // not derived from anything

// The bytes of a result block.
Bytes result(int value);
Bytes result(bool value);
Bytes result(const std::string& value);
Bytes result(const DeviceVPNInfo& value);
// One string in its encoding; tags are such strings.
Bytes encoded(const std::string& text);
Bytes encoded(int value);

// What the service does with one method.
struct Answer {
    Bytes block;
    bool nullArguments = false;  // argsBuffer() gives no buffer
    bool nullResult = false;     // resultBuffer() gives no buffer
    Fault atSync;
    Fault atRead;  // raised by the read with this number, counted from 0
    int faultyRead = 0;
    int readFails = -1;        // the read with this number gives 0
    std::int64_t takesMs = 0;  // the host's tick moves on by this during the call
};

class Service
{
public:
    // What the next calls of a method meet; stays until replaced. A method
    // without an answer fails in sync().
    template <class T>
    Answer& answer(const std::string& method, const T& value)
    {
        return replies(method, result(value));
    }
    Answer& answer(const std::string& method, const char* value)
    {
        return replies(method, result(std::string(value)));
    }
    Answer& replies(const std::string& method, const Bytes& block);
    Answer& acknowledges(const std::string& method) { return replies(method, Bytes()); }
    Answer& fails(const std::string& method, const Fault& fault = raiseNetException);
    // Answers everything that a ten-channel cycle asks.
    void answersAll(int status = 0);

    // What the next connections do: answers of online() in their order, then true.
    std::deque<bool> onlineAnswers;
    Fault atFactory, atConstruction, atOnline, atStop, atClient;

    // What was done, in its order: "factory", "connect ADDRESS", "online", "stop",
    // "destroy", "client", "call METHOD", "client gone", "watchdog".
    Events events;
    // Methods called, their argument blocks and time-outs in milliseconds.
    Calls calls;
    std::vector<Bytes> arguments;
    std::vector<unsigned int> timeOutsMs;
    int readsOfResults = 0;

    int connectionsAlive = 0;
    int factoriesAlive = 0;
    int count(const std::string& event) const;

    // The host's tick, in milliseconds, and its watchdog's reports.
    std::int64_t tickMs = 1000;
    int watchdogReports = 0;
    Fault atWatchdog;

    std::map<std::string, Answer> answers;
};

// The one service; a fixture starts with a fresh one.
Service& service();
void resetService();

// First base of a fixture whose members already use the service.
struct FreshService {
    FreshService() { resetService(); }
};

}  // namespace scripted
