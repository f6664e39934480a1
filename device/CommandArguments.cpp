#include "device/CommandArguments.h"

#include "device/DevBas.h"
#include "host/DataTypes.h"
#include "host/StatusCodes.h"
#include "support/DevServer.h"
#include "support/MfcConverter.h"
#include "support/Truncate.h"

namespace
{
bool isNumeric(int type) { return type == kDataInt || type == kDataDouble; }
}  // namespace

CommandArguments::CommandArguments(ORVA_DATA& data, const CString& text, std::size_t count)
    : m_data(data)
{
    CDevBas::_SplitString(text, ',', m_fields);
    m_valid = m_fields.size() == count && isNumeric(type(count - 1));
}

int CommandArguments::type(std::size_t index) const
{
    return CDevServer::SvrGetParaType(m_data, field(index));
}

QZ::utils::String CommandArguments::text(std::size_t index) const
{
    CString value;
    if (!readText(index, value)) return m_fields[index];
    return QZ::utils::String(value);
}

bool CommandArguments::readText(std::size_t index, CString& value) const
{
    return CDevServer::SvrGetParaValue(m_data, field(index), value) > 0;
}

bool CommandArguments::readVariable(std::size_t index, double& value) const
{
    // The type is asked first: by itself the number form takes any text for a literal.
    return isNumeric(type(index)) && CDevServer::SvrGetParaValue(m_data, field(index), value) > 0;
}

CommandArguments::Number CommandArguments::readNumber(std::size_t index, int& value) const
{
    double number = 0.0;
    if (readVariable(index, number)) {
        value = truncToInt(number);
        return Number::kRead;
    }
    if (m_fields[index].empty()) return Number::kMissing;
    return MfcConverter::GetInstance().ConvertToInt(m_fields[index], value) ? Number::kRead
                                                                            : Number::kMalformed;
}

void CommandArguments::writeText(std::size_t index, const QZ::utils::String& value) const
{
    CString text(value.c_str());
    CDevServer::SvrSetParaValue(m_data, field(index), text);
}

bool CommandArguments::writeResult(int value) const
{
    double number = value;
    return CDevServer::SvrSetParaValue(m_data, field(m_fields.size() - 1), number) > 0;
}

int CommandArguments::refuse() const
{
    writeResult(kResultBadCommand);
    return kResultBadCommand;
}
