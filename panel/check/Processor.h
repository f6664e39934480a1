#pragma once

#include "panel/check/ElfFile.h"

#include <string>
#include <string_view>
#include <vector>

namespace panel
{

enum class FloatAbi { kNone, kHard, kSoft, kUnknown };  // kNone: the processor knows only one

// What a library was built for.
struct Processor {
    std::uint16_t machine = 0;  // EM_...
    bool is64 = false;
    FloatAbi floatAbi = FloatAbi::kNone;

    friend bool operator==(const Processor& a, const Processor& b)
    {
        return a.machine == b.machine && a.is64 == b.is64 && a.floatAbi == b.floatAbi;
    }
};

Processor processorOf(const ElfFile& file);
// The one that this program runs on.
Processor ownProcessor();

// The targets that can be named, with the names for messages.
std::vector<std::string> targetNames();
// The target of that name, which must be one of them.
Processor targetOf(std::string_view name);

// "ARM, 32 bit, hard float".
std::string describe(const Processor& processor);

// The folders in which its libraries usually stand, on the target as on a PC
// with the packages for cross building.
std::vector<std::string> libraryFolders(const Processor& processor);

}  // namespace panel
