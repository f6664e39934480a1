#pragma once

#include "panel/PanelError.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace panel
{

// Why a file is not taken for a library: "no ELF file", "truncated: ...".
class ElfError : public PanelError
{
public:
    using PanelError::PanelError;
};

// A name in the table of dynamic symbols.
struct ElfSymbol {
    std::string_view name;
    bool defined = false;  // in this file, visible to others
    bool weak = false;
};

// A version of symbols that a library must define, such as GLIBC_2.34.
struct ElfVersion {
    std::string_view from;
    std::string_view name;
    bool weak = false;  // it loads without
};

// What the dynamic loader sees of a library, for processors of 32 and 64 bits
// with the least significant byte first. Trusts nothing in the file: every
// offset and count is compared with the file's size. The names point into the
// bytes that the object owns, so it moves but does not copy.
class ElfFile
{
public:
    // Raises ElfError when the bytes are no such file, or are cut or damaged.
    explicit ElfFile(std::vector<unsigned char> bytes);
    ElfFile(ElfFile&&) = default;
    ElfFile& operator=(ElfFile&&) = default;
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;

    bool is64 = false;
    std::uint16_t machine = 0;  // EM_...
    std::uint32_t flags = 0;    // of the processor
    bool sharedObject = false;
    bool isProgram = false;                         // one that can stand anywhere is marked as both
    std::vector<std::string_view> needed;           // libraries
    std::vector<ElfVersion> versions;               // needed
    std::vector<std::string_view> definedVersions;  // empty: its symbols have none
    std::vector<ElfSymbol> symbols;
    bool relro = false;
    bool bindNow = false;
    bool textRelocations = false;
    bool executableStack = false;

    bool defines(std::string_view name) const;

private:
    struct Dynamic;

    template <class T>
    T load(std::uint64_t offset, const char* what) const;
    void requireRange(std::uint64_t offset, std::uint64_t count, const char* what) const;
    std::uint64_t fileOffset(std::uint64_t address, const char* what) const;
    std::string_view textAt(const Dynamic& dynamic, std::uint64_t index) const;

    template <class Layout>
    void parse();
    template <class Layout>
    void readDynamic(std::uint64_t offset, std::uint64_t count, Dynamic& dynamic);
    template <class Layout>
    std::uint64_t countSymbols(const Dynamic& dynamic) const;
    template <class Layout>
    void readSymbols(const Dynamic& dynamic, std::uint64_t count);
    void readVersions(const Dynamic& dynamic);
    void readDefinedVersions(const Dynamic& dynamic);

    struct Segment {
        std::uint64_t address = 0;
        std::uint64_t offset = 0;
        std::uint64_t fileSize = 0;
    };

    std::vector<unsigned char> m_bytes;
    std::vector<Segment> m_segments;
    std::uint64_t m_symbolSectionBytes = 0;  // 0: the file has no section headers
};

}  // namespace panel
