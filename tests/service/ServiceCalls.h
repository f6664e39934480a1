#pragma once

#include "tests/service/ServiceFixture.h"

#include <string>

// Results of the methods that change something.
inline const std::string kDone = raw::integer(0);
inline const std::string kInvalid = raw::integer(1);
inline const std::string kNotNow = raw::integer(2);
inline const std::string kNotStored = raw::integer(3);

// The service's methods by what they are for.
class VpnServiceTest : public ServiceFixture
{
protected:
    void connected()
    {
        settle();
        ASSERT_EQ(state(), 5);
    }
    void idle()
    {
        EXPECT_EQ(call("stopVPN"), kDone);
        settle();
        ASSERT_EQ(state(), 1);
    }
    std::string setServer(const std::string& address, int port)
    {
        return call("setServerIPAndPort", raw::args(raw::string(address), raw::integer(port)));
    }
    std::string start(const std::string& address, int port)
    {
        return call("startVPN", raw::args(raw::string(address), raw::integer(port)));
    }
    void enable(bool on) { EXPECT_EQ(call("setVPNEnabled", raw::args(raw::boolean(on))), ""); }
    std::string online(bool on) { return call("setOnline", raw::args(raw::boolean(on))); }
    std::string check(const std::string& password)
    {
        return call("checkPassword", raw::args(raw::string(password)));
    }
    std::string setCa(const std::string& text)
    {
        return call("setVPNCA", raw::args(raw::string(text)));
    }
    std::string setPassword(const std::string& text)
    {
        return call("setVPNPassword", raw::args(raw::string(text)));
    }
};
