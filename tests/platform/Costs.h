#pragma once

#include <cstddef>
#include <cstdint>

// What the calling thread asked of the system, of the heap and of memmove since reset().
struct Costs {
    int sends = 0;
    int receives = 0;
    int polls = 0;
    int options = 0;  // socket options set
    int allocations = 0;
    std::size_t allocatedBytes = 0;
    std::ptrdiff_t heldBytes = 0;  // allocated and not given back, rounded up by the heap
    std::size_t movedBytes = 0;
    std::size_t allocationLimit = SIZE_MAX;  // what is larger raises std::bad_alloc

    static Costs& ofThisThread();
    void reset() { *this = Costs(); }
    int systemCalls() const { return sends + receives + polls + options; }
};
