#pragma once

#include "tests/device/DeviceFixture.h"

#include <optional>
#include <string>
#include <vector>

using scripted::Bytes;
using scripted::encoded;

// Every command in every situation: what it returns, what it writes into its
// result variable and what goes out on the wire. The host has the variables
// i = 7 (int), d = 8.6 (double), t = "text12" (text), on = 1, off = 0.0,
// addr = "10.9.8.7", empty = "", and r as the result variable; o has a type of the host's own.
class CommandTest : public DeviceTest
{
protected:
    static constexpr int kUntouched = -77;

    CommandTest() { reset(); }

    void reset()
    {
        orva_device::SvrExitDevRun(m_data);
        scripted::resetService();
        m_host.oddTypes.clear();
        m_host.variables = {{"i", 7},
                            {"d", 8.6},
                            {"t", std::string("text12")},
                            {"on", 1},
                            {"off", 0.0},
                            {"addr", std::string("10.9.8.7")},
                            {"bad", std::string("no_good")},
                            {"empty", std::string()},
                            {"r", kUntouched},
                            {"rd", -77.0}};
        m_host.oddTypes["o"] = static_cast<DATATYPE>(4);
        for (const char* method : {"setServerIPAndPort", "startVPN", "setVPNCA", "stopVPN",
                                   "setBeatInterval", "setOnline", "setVPNPassword"}) {
            service().answer(method, 0);
        }
        for (const char* method : {"setDeviceSn", "setVPNEnabled", "checkCommState"}) {
            service().acknowledges(method);
        }
        service().answer("getVPNPassword", "secret99");
        DeviceVPNInfo info;
        info.serverIP = "192.0.2.1";
        info.serverPort = 443;
        service().answer("getDeviceVPNInfo", info);
    }
    int resultVariable() { return std::get<int>(m_host.variables["r"]); }

    // One situation that ends before anything is sent.
    struct Refusal {
        const char* text;
        int written = kUntouched;
    };
    void refuses(const std::vector<Refusal>& rows)
    {
        for (const Refusal& row : rows) {
            reset();
            SCOPED_TRACE(row.text);
            EXPECT_EQ(command(row.text), 5);
            EXPECT_EQ(resultVariable(), row.written);
            EXPECT_TRUE(service().calls.empty());
        }
    }

    // One situation that reaches the service with these arguments, answered 0.
    struct Sent {
        const char* text;
        Bytes arguments;
    };
    void sends(const char* method, const std::vector<Sent>& rows)
    {
        for (const Sent& row : rows) {
            reset();
            SCOPED_TRACE(row.text);
            EXPECT_EQ(command(row.text), 0);
            EXPECT_EQ(resultVariable(), 0);
            ASSERT_FALSE(service().calls.empty());
            EXPECT_EQ(service().calls.back(), method);
            EXPECT_EQ(service().arguments.back(), row.arguments);
            EXPECT_EQ(service().events.back(), "client gone");
        }
    }

    // The command's code for each answer of the service.
    struct Answered {
        int answer, code;
        std::optional<int> written = std::nullopt;  // the answer itself unless given
    };
    void maps(const char* method, const char* text, const std::vector<Answered>& rows)
    {
        for (const Answered& row : rows) {
            reset();
            SCOPED_TRACE(std::string(text) + " answered " + std::to_string(row.answer));
            service().answer(method, row.answer);
            EXPECT_EQ(command(text), row.code);
            EXPECT_EQ(resultVariable(), row.written.value_or(row.answer));
        }
    }

    void failsWithTheService(const char* method, const char* text)
    {
        reset();
        service().fails(method);
        EXPECT_EQ(outputOf([&] { EXPECT_EQ(command(text), 1); }),
                  "mfDevIOCtrl[293] failed with: scripted-fault\n");
        EXPECT_EQ(resultVariable(), kUntouched);
        EXPECT_EQ(service().connectionsAlive, 0);
        const scripted::Events& events = service().events;
        ASSERT_GE(events.size(), 3u);
        EXPECT_EQ(scripted::Events(events.end() - 3, events.end()),
                  (scripted::Events{"client gone", "stop", "destroy"}));
    }

    // The last call's argument block; empty when nothing was sent.
    Bytes lastSent() { return service().arguments.empty() ? Bytes() : service().arguments.back(); }

    static Bytes one(const Bytes& argument) { return encoded(1) + argument; }
    static Bytes server(const std::string& address, int port)
    {
        return encoded(2) + textArgument(address) + intArgument(port);
    }
};
