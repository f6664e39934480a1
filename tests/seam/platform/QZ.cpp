#include "platform/QZNet.h"
#include "platform/QZRPC.h"
#include "platform/QZUtils.h"

#include "Service.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace QZ::utils
{

String& String::trim()
{
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!m_text.empty() && isSpace(m_text.back())) m_text.pop_back();
    std::size_t spaces = 0;
    while (spaces < m_text.size() && isSpace(m_text[spaces])) ++spaces;
    m_text.erase(0, spaces);
    return *this;
}

int String::serialize(IBuffer* buffer) const
{
    const std::uint32_t length = size();
    return buffer->write(&length, sizeof length, 0) != 0 &&
           buffer->write(m_text.data(), length, 0) != 0;
}

int String::deserialize(IBuffer* buffer) { return Deserialize(buffer, m_text); }

int Deserialize(IBuffer* buffer, std::string& text)
{
    std::uint32_t length = 0;
    if (buffer == nullptr || buffer->read(&length, sizeof length, 0) == 0) return 0;
    if (length > buffer->size()) throw deserialize_block_error();
    text.resize(length);
    return buffer->read(text.data(), length, 0);
}

}  // namespace QZ::utils

namespace QZ::Net
{

Exception::Exception(const char* func, const char* info)
{
    std::snprintf(m_func, sizeof m_func, "%s", func == nullptr ? "" : func);
    std::snprintf(m_info, sizeof m_info, "%s", info == nullptr ? "" : info);
}

Address::Address(const char* text) { std::snprintf(m_text, sizeof m_text, "%s", text); }

namespace
{

class MemoryFactory final : public IClientFactory
{
public:
    const char* scheme() const override { return "memory"; }
    bool reaches(const Address& address) override
    {
        return std::strcmp(address.text(), "127.0.0.1:9009") == 0;
    }
    void forget() override {}
};

}  // namespace

IClientFactory* TCPClient::NewFactory() { return new MemoryFactory(); }

}  // namespace QZ::Net

namespace QZ::RPC
{

unsigned int MemoryBuffer::size() const
{
    return static_cast<unsigned int>(m_bytes.size()) - m_read;
}

void MemoryBuffer::clear()
{
    m_bytes.clear();
    m_read = 0;
}

int MemoryBuffer::write(const void* data, unsigned int count, int)
{
    m_bytes.append(static_cast<const char*>(data), count);
    return 1;
}

int MemoryBuffer::read(void* data, unsigned int count, int)
{
    if (count > size()) return 0;
    if (count > 0) std::memcpy(data, m_bytes.data() + m_read, count);
    m_read += count;
    return 1;
}

DispatchClient::DispatchClient(const Net::Address& address, Net::IClientFactory* factory)
    : m_address(address), m_factory(factory), m_online(factory->reaches(address))
{
}

DispatchClient::~DispatchClient() { delete m_factory; }

bool DispatchClient::online() { return m_online; }

#ifndef SEAM_WITHOUT_STOP  // what the linker says when an operation is missing
void DispatchClient::stop()
{
    m_factory->forget();
    m_online = false;
}
#endif

SyncProxy::SyncProxy(const utils::String& name) : m_name(name) {}

SyncProxy::SyncProxy(DispatchClient* connection) : m_connection(connection) {}

utils::IBuffer* SyncProxy::argsBuffer(const utils::String& method)
{
    if (m_connection == nullptr) return nullptr;
    m_connection->m_method = method;
    m_connection->m_arguments.clear();
    return &m_connection->m_arguments;
}

void SyncProxy::sync()
{
    if (m_connection == nullptr || !m_connection->m_online) {
        throw Net::Exception("sync", "not connected");
    }
    m_connection->m_result.clear();
    m_connection->m_answered =
        answer(m_connection->m_method, m_connection->m_arguments, m_connection->m_result);
}

utils::IBuffer* SyncProxy::resultBuffer()
{
    return m_connection != nullptr && m_connection->m_answered ? &m_connection->m_result : nullptr;
}

}  // namespace QZ::RPC
