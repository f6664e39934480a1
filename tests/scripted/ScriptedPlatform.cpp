#include "platform/QZNet.h"
#include "platform/QZRPC.h"
#include "tests/scripted/ScriptedService.h"

#include <cstring>
#include <memory>
#include <string>

using scripted::Answer;
using scripted::service;

namespace
{

void run(const scripted::Fault& fault)
{
    if (fault) fault();
}

std::string textOf(const QZ::Net::Address& address)
{
    const auto part = [&](int shift) { return std::to_string((address.ip() >> shift) & 0xff); };
    return part(24) + "." + part(16) + "." + part(8) + "." + part(0) + ":" +
           std::to_string(address.port());
}

class Factory : public QZ::Net::IClientFactory
{
public:
    Factory() { ++service().factoriesAlive; }
    ~Factory() override { --service().factoriesAlive; }
    int connect(const QZ::Net::Address&, unsigned int) override { return -1; }
};

class ArgumentBuffer final : public QZ::utils::IBuffer
{
public:
    unsigned int size() const override { return static_cast<unsigned int>(bytes.size()); }
    void clear() override { bytes.clear(); }
    int write(const void* data, unsigned int count, int) override
    {
        bytes.append(static_cast<const char*>(data), count);
        return 1;
    }
    int read(void*, unsigned int, int) override { return 0; }

    std::string bytes;
};

class ResultBuffer final : public QZ::utils::IBuffer
{
public:
    explicit ResultBuffer(const Answer& answer) : m_answer(answer) {}
    unsigned int size() const override
    {
        return static_cast<unsigned int>(m_answer.block.size() - m_cursor);
    }
    void clear() override {}
    int write(const void*, unsigned int, int) override { return 0; }
    int read(void* data, unsigned int count, int) override
    {
        ++service().readsOfResults;
        const int number = m_reads++;
        if (m_answer.atRead && number == m_answer.faultyRead) m_answer.atRead();
        if (number == m_answer.readFails || count > size()) return 0;
        std::memcpy(data, m_answer.block.data() + m_cursor, count);
        m_cursor += count;
        return 1;
    }

private:
    Answer m_answer;
    std::size_t m_cursor = 0;
    int m_reads = 0;
};

}  // namespace

namespace QZ::Net
{
IClientFactory* TCPClient::NewFactory()
{
    service().events.push_back("factory");
    run(service().atFactory);
    return new Factory;
}
}  // namespace QZ::Net

namespace QZ::RPC
{

// What the connection keeps between the steps of a call.
struct DispatchClient::Impl {
    std::unique_ptr<Net::IClientFactory> factory;
    std::string method;
    ArgumentBuffer arguments;
    std::unique_ptr<ResultBuffer> result;
};

DispatchClient::DispatchClient(Net::Address address, Net::IClientFactory* factory)
    : m_impl(std::make_unique<Impl>())
{
    m_impl->factory.reset(factory);
    service().events.push_back("connect " + textOf(address));
    run(service().atConstruction);
    ++service().connectionsAlive;
}

DispatchClient::~DispatchClient()
{
    --service().connectionsAlive;
    service().events.push_back("destroy");
}

bool DispatchClient::online() const
{
    service().events.push_back("online");
    run(service().atOnline);
    if (service().onlineAnswers.empty()) return true;
    const bool answer = service().onlineAnswers.front();
    service().onlineAnswers.pop_front();
    return answer;
}

void DispatchClient::stop()
{
    service().events.push_back("stop");
    run(service().atStop);
}

SyncProxy::SyncProxy(const utils::String& name) { service().events.push_back("client " + name); }

SyncProxy::SyncProxy(DispatchClient* connection) : m_connection(connection)
{
    service().events.push_back("client");
    run(service().atClient);
}

SyncProxy::~SyncProxy() { service().events.push_back("client gone"); }

void SyncProxy::setTimeOut(unsigned int timeOutMs) { m_timeOutMs = timeOutMs; }

utils::IBuffer* SyncProxy::argsBuffer(const utils::String& method)
{
    if (m_connection == nullptr) return nullptr;
    DispatchClient::Impl& impl = *m_connection->m_impl;
    impl.method = method;
    impl.arguments.clear();
    impl.result.reset();
    const auto answer = service().answers.find(method);
    if (answer != service().answers.end() && answer->second.nullArguments) return nullptr;
    return &impl.arguments;
}

void SyncProxy::sync()
{
    if (m_connection == nullptr) throw Net::Exception("sync", "no connection");
    DispatchClient::Impl& impl = *m_connection->m_impl;
    service().events.push_back("call " + impl.method);
    service().calls.push_back(impl.method);
    service().arguments.push_back(impl.arguments.bytes);
    service().timeOutsMs.push_back(m_timeOutMs);
    const auto found = service().answers.find(impl.method);
    if (found == service().answers.end()) throw Net::Exception("sync", "nothing scripted");
    const Answer& answer = found->second;
    service().tickMs += answer.takesMs;
    run(answer.atSync);
    if (!answer.nullResult) impl.result = std::make_unique<ResultBuffer>(answer);
}

utils::IBuffer* SyncProxy::resultBuffer()
{
    return m_connection == nullptr ? nullptr : m_connection->m_impl->result.get();
}

}  // namespace QZ::RPC
