#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vpnd
{

// How long calls took. Adding costs no memory and no system call.
struct Latencies {
    // Upper bounds, in microseconds; beyond the last one there is one more place.
    static constexpr std::array<std::int64_t, 7> kBoundsUs = {
        100, 1000, 10'000, 100'000, 1'000'000, 10'000'000, 60'000'000};

    void add(std::int64_t us)
    {
        std::size_t place = 0;
        while (place < kBoundsUs.size() && us > kBoundsUs[place]) ++place;
        ++counts[place];
        ++count;
        sumUs += static_cast<std::uint64_t>(us < 0 ? 0 : us);
    }

    std::array<std::uint64_t, kBoundsUs.size() + 1> counts{};
    std::uint64_t count = 0;
    std::uint64_t sumUs = 0;
};

// The calls of one kind, from the request's end to the answer.
struct CallCounter {
    const char* method = "";
    Latencies latencies;
};

// What has happened since the service began.
struct Counters {
    static constexpr std::size_t kReasons = 32;

    std::uint64_t settingChanges = 0;
    std::uint64_t changesNotStored = 0;
    std::uint64_t attempts = 0;
    std::uint64_t connections = 0;
    std::array<std::uint64_t, kReasons> faults{};  // by number of the reason
    std::uint64_t receivedBytes = 0;
    std::uint64_t sentBytes = 0;
    std::uint64_t notAllowedRpc = 0;
    std::uint64_t notAllowedControl = 0;
};

}  // namespace vpnd
