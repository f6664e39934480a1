#include "panel/runtime/ConfigBlob.h"

namespace panel
{

namespace
{

constexpr std::uint16_t kBlobVersion = 20003;
constexpr std::uint32_t kPropertyCount = 0;

void appendLittleEndian(std::vector<unsigned char>& blob, std::uint32_t value, int byteCount)
{
    for (int i = 0; i < byteCount; ++i) {
        blob.push_back(static_cast<unsigned char>(value >> (8 * i) & 0xFFU));
    }
}

}  // namespace

std::vector<unsigned char> makeConfigBlob(std::int32_t maxChannel)
{
    std::vector<unsigned char> blob;
    appendLittleEndian(blob, kBlobVersion, 2);
    appendLittleEndian(blob, kPropertyCount, 4);
    appendLittleEndian(blob, static_cast<std::uint32_t>(maxChannel), 4);
    return blob;
}

}  // namespace panel
