#pragma once

#include "platform/QZNet.h"
#include "platform/QZUtils.h"

#include <string>

namespace QZ::RPC
{

// Bytes in memory that are written at the end and read from the front.
class MemoryBuffer final : public utils::IBuffer
{
public:
    unsigned int size() const override;
    void clear() override;
    int write(const void* data, unsigned int count, int flags) override;
    int read(void* data, unsigned int count, int flags) override;
    const char* kind() const override { return "memory"; }

private:
    std::string m_bytes;
    unsigned int m_read = 0;
};

// A connection to nowhere: the service answers from memory. All of its state stands here.
class DispatchClient
{
public:
    DispatchClient(const Net::Address& address, Net::IClientFactory* factory);
    virtual ~DispatchClient();
    DispatchClient(const DispatchClient&) = delete;
    DispatchClient& operator=(const DispatchClient&) = delete;

    virtual bool online();
    virtual void stop();

private:
    friend class SyncProxy;

    Net::Address m_address;
    Net::IClientFactory* m_factory;  // owned
    utils::String m_method;
    MemoryBuffer m_arguments;
    MemoryBuffer m_result;
    bool m_answered = false;
    bool m_online;
};

class SyncProxy
{
public:
    explicit SyncProxy(const utils::String& name);
    explicit SyncProxy(DispatchClient* connection);
    virtual ~SyncProxy() = default;

    void setTimeOut(unsigned int milliseconds) { m_timeOutMs = milliseconds; }
    utils::IBuffer* argsBuffer(const utils::String& method);
    virtual void sync();
    utils::IBuffer* resultBuffer();

private:
    utils::String m_name;
    unsigned int m_timeOutMs = 0;
    DispatchClient* m_connection = nullptr;
};

}  // namespace QZ::RPC
