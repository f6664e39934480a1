#pragma once

#include "platform/QZNet.h"
#include "platform/QZUtils.h"

#include <memory>

namespace QZ::RPC
{

// The connection to one service. One thread, one call at a time.
//   1. The constructor connects, for at most 3000 ms; whether it succeeded, online() tells.
//   2. Calls go over it through SyncProxy.
//   3. stop() closes it for good; there is no reconnecting.
// A thread that is cancelled in a call leaves a closed connection.
class DispatchClient
{
public:
    // Owns the factory, also when it raises.
    DispatchClient(Net::Address address, Net::IClientFactory* factory);
    ~DispatchClient();
    DispatchClient(const DispatchClient&) = delete;
    DispatchClient& operator=(const DispatchClient&) = delete;

    // Whether the connection is up, by one look at the socket that never waits.
    // Bytes that wait to be read count as online; a closed peer does not.
    bool online() const;
    void stop();

private:
    friend class SyncProxy;
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

// One synchronous call after the other over a borrowed connection, which must
// outlive the proxy. Cheap to make: the buffers belong to the connection.
class SyncProxy
{
public:
    // A proxy by name, bound to no connection: argsBuffer() is null, sync() raises.
    explicit SyncProxy(const utils::String& name);
    explicit SyncProxy(DispatchClient* connection);
    ~SyncProxy();
    SyncProxy(const SyncProxy&) = delete;
    SyncProxy& operator=(const SyncProxy&) = delete;

    // Time for the next sync() as a whole, sending included, in milliseconds.
    void setTimeOut(unsigned int timeOutMs);
    // Starts a call; the buffer takes its arguments and is the connection's. Null without one.
    utils::IBuffer* argsBuffer(const utils::String& method);
    // Sends the call and waits for its reply. Raises Net::Exception when the
    // exchange fails or the time is over. An error reply of the service is a
    // normal return without a result buffer.
    void sync();
    // The reply to the last sync(), valid until the next call on the same
    // connection. Null when there is none.
    utils::IBuffer* resultBuffer();

private:
    DispatchClient* m_connection = nullptr;
    unsigned int m_timeOutMs = 10000;
};

}  // namespace QZ::RPC
