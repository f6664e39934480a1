#pragma once

#include "panel/runtime/ChannelTable.h"
#include "panel/runtime/VariableStore.h"

#include <map>
#include <string>
#include <vector>

namespace panel
{

// One device's view of the real-time database, in memory: the ten channels are
// its own, the variables are shared and locked by their store. Used by the
// device's thread only. Remembers what the driver has written until it is taken.
// Every operation answers 0 when done and kStatusFailed for an unknown name or
// channel, another type or a null pointer; nothing is touched then.
class MemoryRtdb final : public IDevRtdbCtrl
{
public:
    // Borrows the store, which must outlive the object.
    explicit MemoryRtdb(VariableStore& variables) : m_variables(variables) {}

    int GetParamType(const char* szName, DATATYPE& type) override;
    int GetParamInt(const char* szName, int* pValue) override;
    int GetParamDouble(const char* szName, double* pValue) override;
    int GetParamString(const char* szName, std::string& value) override;
    int SetParamInt(const char* szName, int nValue) override;
    int SetParamDouble(const char* szName, double dValue) override;
    int SetParamString(const char* szName, const std::string& value) override;

    int GetChannelType(int nChannel, DATATYPE* pType) override;
    int SetChannelInt(int nChannel, int nValue) override;
    int SetChannelDouble(int nChannel, double dValue) override;
    int SetChannelString(int nChannel, const std::string& value) override;

    // Channels published since the last call, by their number from 1.
    std::map<int, Value> takePublished();
    // Variables written since the last call with their last values, in the order of first writing.
    std::vector<NamedValue> takeWritten();

private:
    int setParam(const char* name, Value value);
    int setChannel(int index, Value value);

    VariableStore& m_variables;
    std::map<int, Value> m_published;
    std::vector<NamedValue> m_written;
};

}  // namespace panel
