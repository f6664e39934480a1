#pragma once

#include "platform/QZRPC.h"
#include "tests/scripted/ScriptedService.h"
#include "vpnclient/VPNRpcCtrlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

// A client on a connection of the scripted platform.
class ClientTest : scripted::FreshService, public testing::Test
{
protected:
    scripted::Service& service() { return scripted::service(); }
    const scripted::Bytes& sent() { return service().arguments.back(); }

    // What the call raises: "unpack failure", "net FUNC/INFO", "block error",
    // "other", "number" or "nothing".
    template <class Call>
    static std::string raisedBy(Call call)
    {
        try {
            call();
            return "nothing";
        } catch (const QZ::Net::Exception& e) {
            const std::string func = e.func();
            const std::string info = e.info();
            if (func == "GeneratedUnpack" && info == "deserialize failed") return "unpack failure";
            return "net " + func + "/" + info;
        } catch (const QZ::utils::deserialize_block_error&) {
            return "block error";
        } catch (const std::exception&) {
            return "other";
        } catch (int) {
            return "number";
        }
    }

    QZ::RPC::DispatchClient m_connection{QZ::Net::Address("127.0.0.1:9009"),
                                         QZ::Net::TCPClient::NewFactory()};
    VPNRpcCtrlClient m_client{&m_connection};
};
