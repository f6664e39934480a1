#pragma once

#include "platform/QZUtils.h"
#include "service/rpc/VpnValues.h"

#include <cstdint>
#include <string>

// Typed values of argument and result blocks.
namespace vpnd
{

// Takes the arguments off a block one by one. After the first one that does not
// fit, the others are not looked at any more; finish() tells at the end.
class ArgumentReader
{
public:
    // Borrows the block. expected is the number of arguments that the method has.
    ArgumentReader(QZ::utils::IBuffer& block, std::int32_t expected);

    // The next argument, by its type; the value is left alone when it does not fit.
    void read(std::string& value);
    void read(std::int32_t& value);
    void read(bool& value);  // only the bytes 0 and 1

    // Null when everything fitted and nothing is left over, else a static text
    // with what was wrong first.
    [[nodiscard]] const char* finish();

private:
    bool readTag(const char* expected);
    bool readInt(std::int32_t& value);
    void refuse(const char* why);

    QZ::utils::IBuffer& m_block;
    const char* m_refusal = nullptr;
};

// Write a result block: the tag of the type, then the value. False when the
// buffer took no more.
[[nodiscard]] bool writeResult(QZ::utils::IBuffer& block, const std::string& value);
[[nodiscard]] bool writeResult(QZ::utils::IBuffer& block, std::int32_t value);
[[nodiscard]] bool writeResult(QZ::utils::IBuffer& block, bool value);
[[nodiscard]] bool writeResult(QZ::utils::IBuffer& block, const DeviceInfo& value);

}  // namespace vpnd
