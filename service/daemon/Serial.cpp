#include "service/daemon/Serial.h"

#include "common/ReadFile.h"
#include "service/core/Validation.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <cstring>

namespace vpnd
{
namespace
{

constexpr std::size_t kMostFileBytes = 256;
constexpr std::size_t kMachineIdDigits = 32;
constexpr std::size_t kSerialBytes = 6;
// Other programs that do the same get other numbers.
constexpr const char* kPurpose = "orva-vpnd serial number";

// Without blanks, line ends and zero bytes at the end.
SerialNumber contentOf(const std::string& path)
{
    const common::FileContent file = common::readFile(path, kMostFileBytes);
    if (!file.problem.empty()) return {"", "cannot be read: " + file.problem};
    std::string text(file.bytes.begin(), file.bytes.end());
    text.erase(text.find_last_not_of(std::string(" \t\r\n\0", 5)) + 1);
    return {text, ""};
}

}  // namespace

SerialNumber serialFromFile(const std::string& path)
{
    SerialNumber serial = contentOf(path);
    if (serial.problem.empty() && !isDeviceNumber(serial.text)) {
        return {"", "holds no serial number"};
    }
    return serial;
}

SerialNumber serialFromMachineId(const std::string& path)
{
    SerialNumber id = contentOf(path);
    if (!id.problem.empty()) return {"", path + " " + id.problem};
    if (id.text.size() != kMachineIdDigits ||
        id.text.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return {"", path + " holds no machine id"};
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int bytes = 0;
    const std::string purpose = kPurpose;
    const auto* const message = reinterpret_cast<const unsigned char*>(purpose.data());
    if (HMAC(EVP_sha256(), id.text.data(), static_cast<int>(id.text.size()), message,
             purpose.size(), digest.data(), &bytes) == nullptr ||
        bytes < kSerialBytes) {
        return {"", "cannot be derived here: there is no SHA-256"};
    }
    std::string serial = "ORVA-";
    for (std::size_t i = 0; i < kSerialBytes; ++i) {
        constexpr const char* kDigits = "0123456789ABCDEF";
        serial += kDigits[digest[i] >> 4];
        serial += kDigits[digest[i] & 0xF];
    }
    return {serial, ""};
}

}  // namespace vpnd
