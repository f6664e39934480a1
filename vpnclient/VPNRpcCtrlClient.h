#pragma once

#include "platform/QZRPC.h"
#include "vpnclient/DeviceVPNInfo.h"

// Client of the local VPN service: made on the stack for one command or one
// group of calls. Borrows the connection, which must outlive it. One thread.
//
// Each operation is one exchange, named on the wire exactly as here, and waits
// at most 10000 ms (checkCommState 3000 ms). Failures leave as exceptions:
// QZ::Net::Exception("GeneratedUnpack", "deserialize failed") for a reply that
// is missing or not as expected, QZ::utils::deserialize_block_error and
// whatever the exchange itself raises unchanged. Nothing is retried and no
// argument is checked. Integer results are the service's own status codes.
// Bytes on the wire: docs/rpc-protocol.md.
class VPNRpcCtrlClient : public QZ::RPC::SyncProxy
{
public:
    // Bound to no connection: every operation fails in its exchange.
    VPNRpcCtrlClient();
    explicit VPNRpcCtrlClient(QZ::RPC::DispatchClient* connection);

    // VPN server.
    int changeServerIP(const QZ::utils::String& address);
    QZ::utils::String getServerIP();
    int setServerIPAndPort(const QZ::utils::String& address, const int& port);

    // Tunnel. The certificate is the CA's, as PEM text; the interval is in seconds.
    int setVPNCA(const QZ::utils::String& certificate);
    int startVPN(const QZ::utils::String& address, const int& port);
    int stopVPN();
    int setBeatInterval(const int& interval);
    int setOnline(const bool& online);
    void setVPNEnabled(const bool& enabled);  // looks at no reply
    bool getVPNEnabled();
    void checkCommState();  // looks at no reply
    int getVpnState();
    // All six fields, or an exception; never a record that is partly filled.
    DeviceVPNInfo getDeviceVPNInfo();

    // Device number.
    void setDeviceSn(const QZ::utils::String& number);  // looks at no reply
    QZ::utils::String getProductSn();

    // Credentials.
    bool hasPassword();
    bool checkPassword(const QZ::utils::String& password);
    int setVPNPassword(const QZ::utils::String& password);
    QZ::utils::String getVPNPassword();
    int setVPNUserName(const QZ::utils::String& name);
    QZ::utils::String getVPNUserName();

private:
    // One exchange: method and arguments out; then, in query, a result of type Result back.
    template <class... Arguments>
    void exchange(unsigned int timeOutMs, const char* method, const Arguments&... arguments);
    template <class Result, class... Arguments>
    Result query(const char* method, const Arguments&... arguments);
};
