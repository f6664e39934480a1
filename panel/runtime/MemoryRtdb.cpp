#include "panel/runtime/MemoryRtdb.h"

#include "host/StatusCodes.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace panel
{

namespace
{

// Copies the variable's value into target when it has the target's type.
template <class T>
int readParam(const VariableStore& variables, const char* name, T* target)
{
    if (name == nullptr || target == nullptr) return kStatusFailed;
    const std::optional<Value> value = variables.get(name);
    const T* typed = value ? std::get_if<T>(&*value) : nullptr;
    if (typed == nullptr) return kStatusFailed;
    *target = *typed;
    return kStatusOk;
}

const ChannelInfo* channelAt(int index)
{
    return index == INT_MAX ? nullptr : findChannel(index + 1);
}

}  // namespace

int MemoryRtdb::GetParamType(const char* szName, DATATYPE& type)
{
    const std::optional<Value> value = szName ? m_variables.get(szName) : std::nullopt;
    if (!value) return kStatusFailed;
    type = typeOf(*value);
    return kStatusOk;
}

int MemoryRtdb::GetParamInt(const char* szName, int* pValue)
{
    return readParam(m_variables, szName, pValue);
}

int MemoryRtdb::GetParamDouble(const char* szName, double* pValue)
{
    return readParam(m_variables, szName, pValue);
}

int MemoryRtdb::GetParamString(const char* szName, std::string& value)
{
    return readParam(m_variables, szName, &value);
}

int MemoryRtdb::SetParamInt(const char* szName, int nValue) { return setParam(szName, nValue); }

int MemoryRtdb::SetParamDouble(const char* szName, double dValue)
{
    return setParam(szName, dValue);
}

int MemoryRtdb::SetParamString(const char* szName, const std::string& value)
{
    return setParam(szName, value);
}

int MemoryRtdb::GetChannelType(int nChannel, DATATYPE* pType)
{
    const ChannelInfo* channel = channelAt(nChannel);
    if (channel == nullptr || pType == nullptr) return kStatusFailed;
    *pType = channel->type;
    return kStatusOk;
}

int MemoryRtdb::SetChannelInt(int nChannel, int nValue) { return setChannel(nChannel, nValue); }

int MemoryRtdb::SetChannelDouble(int nChannel, double dValue)
{
    return setChannel(nChannel, dValue);
}

int MemoryRtdb::SetChannelString(int nChannel, const std::string& value)
{
    return setChannel(nChannel, value);
}

std::map<int, Value> MemoryRtdb::takePublished() { return std::exchange(m_published, {}); }

std::vector<NamedValue> MemoryRtdb::takeWritten() { return std::exchange(m_written, {}); }

int MemoryRtdb::setParam(const char* name, Value value)
{
    if (name == nullptr || !m_variables.set(name, value)) return kStatusFailed;
    const auto known = std::find_if(m_written.begin(), m_written.end(),
                                    [name](const NamedValue& one) { return one.name == name; });
    if (known != m_written.end()) {
        known->value = std::move(value);
    } else {
        m_written.push_back({name, std::move(value)});
    }
    return kStatusOk;
}

int MemoryRtdb::setChannel(int index, Value value)
{
    const ChannelInfo* channel = channelAt(index);
    if (channel == nullptr || channel->type != typeOf(value)) return kStatusFailed;
    m_published[channel->number] = std::move(value);
    return kStatusOk;
}

}  // namespace panel
