#pragma once

#include "panel/check/ElfImage.h"
#include "panel/check/ElfTables.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace panel
{

// What the dynamic loader sees of a library, for processors of 32 and 64 bits
// with the least significant byte first. The names point into the image that the
// object owns, so it moves but does not copy.
class ElfFile
{
public:
    // Raises ElfError when the bytes are no such file, or are cut or damaged.
    explicit ElfFile(std::vector<unsigned char> bytes);

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
    bool executableStack = true;  // it is one where nothing is said about it

    bool defines(std::string_view name) const;

private:
    struct Extent {
        std::uint64_t offset = 0;
        std::uint64_t bytes = 0;
    };

    template <class Layout>
    void parse();
    // Where the dynamic section stands.
    template <class Layout>
    Extent readSegments(const typename Layout::Header& header);
    // How many bytes the symbols take; 0 when the file has no section headers.
    template <class Layout>
    std::uint64_t readSections(const typename Layout::Header& header) const;
    template <class Layout>
    ElfDynamic readDynamic(Extent section);

    ElfImage m_image;
};

}  // namespace panel
