#pragma once

#include <cstddef>
#include <cstdint>

// What the calling thread asked of the system and of the heap since reset().
struct Costs {
    int sends = 0;
    int receives = 0;
    int polls = 0;
    int options = 0;  // socket options set
    int allocations = 0;
    std::size_t allocatedBytes = 0;
    std::size_t allocationLimit = SIZE_MAX;  // what is larger raises std::bad_alloc

    static Costs& ofThisThread();
    void reset() { *this = Costs(); }
    int systemCalls() const { return sends + receives + polls + options; }
};
