#pragma once

#include "host/OrvaData.h"
#include "platform/QZUtils.h"

#include <cstddef>
#include <vector>

// The arguments of one text command: fields separated by ",", a fixed number of
// them, the last one naming the numeric host variable that receives the outcome.
// Borrows the record. A handler checks valid() first and ends with
// kResultBadCommand where it is false; nothing has been written then.
class CommandArguments
{
public:
    CommandArguments(ORVA_DATA& data, const CString& text, std::size_t count);

    // The count is right and the last field names a numeric variable.
    [[nodiscard]] bool valid() const { return m_valid; }

    // The host's type of the variable that a field names; -2 when there is none.
    int type(std::size_t index) const;

    // The text variable that the field names, or else the field itself.
    QZ::utils::String text(std::size_t index) const;
    // The same without the literal for a numeric variable: false for that.
    [[nodiscard]] bool readText(std::size_t index, CString& value) const;
    // The numeric variable that the field names; false where it names none.
    [[nodiscard]] bool readVariable(std::size_t index, double& value) const;

    enum class Number { kRead, kMissing, kMalformed };
    // The numeric variable that the field names, truncated, or else the field as
    // a whole decimal number; kMissing for an empty field that names no variable.
    [[nodiscard]] Number readNumber(std::size_t index, int& value) const;

    // Writes the text variable that a field names.
    void writeText(std::size_t index, const QZ::utils::String& value) const;
    // Writes the result variable; false when that fails.
    bool writeResult(int value) const;
    // Ends a command with a bad argument: writes kResultBadCommand and returns it.
    int refuse() const;

private:
    CString field(std::size_t index) const { return CString(m_fields[index].c_str()); }

    ORVA_DATA& m_data;
    std::vector<QZ::utils::String> m_fields;
    bool m_valid = false;
};
