#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Builds the smallest library file that a loader would understand.
struct TinyElf {
    struct Symbol {
        std::string name;
        bool defined = true;
        bool weak = false;
        bool hidden = false;
    };
    enum class CountBy { kSections, kHash, kGnuHash };

    bool is64 = true;
    std::uint16_t machine = 62;  // x86-64
    std::uint32_t flags = 0;
    std::uint16_t type = 3;  // shared object
    std::vector<std::string> needed;
    std::vector<Symbol> symbols;
    std::vector<std::string> versions;  // of the first needed library
    bool relro = true;
    bool bindNow = true;
    bool textRelocations = false;
    bool stackHeader = true;
    bool executableStack = false;
    CountBy countBy = CountBy::kSections;

    std::vector<unsigned char> bytes() const;
};

// A library for an ARM panel that would pass for a driver.
TinyElf armDriver();
