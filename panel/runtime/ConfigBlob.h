#pragma once

#include <cstdint>
#include <vector>

namespace panel
{

// The highest channel when nobody says otherwise, so that all channels show.
constexpr std::int32_t kDefaultMaxChannel = 10;

// Largest stored configuration that is handed to a driver.
constexpr std::size_t kMaxBlobBytes = 1024 * 1024;

// The configuration of a device that publishes channels 1 to maxChannel:
// docs/config-blob.md.
std::vector<unsigned char> makeConfigBlob(std::int32_t maxChannel);

}  // namespace panel
