#pragma once

#include "panel/check/ElfImage.h"

#include <elf.h>
#include <vector>

namespace panel
{

// The records of both classes of files.
struct ElfLayout32 {
    using Header = Elf32_Ehdr;
    using Program = Elf32_Phdr;
    using Section = Elf32_Shdr;
    using Dyn = Elf32_Dyn;
    using Symbol = Elf32_Sym;
    using BloomWord = Elf32_Word;
};
struct ElfLayout64 {
    using Header = Elf64_Ehdr;
    using Program = Elf64_Phdr;
    using Section = Elf64_Shdr;
    using Dyn = Elf64_Dyn;
    using Symbol = Elf64_Sym;
    using BloomWord = Elf64_Xword;
};

// The entries of the dynamic section that matter here; addresses as in memory, 0 for
// what is not there.
struct ElfDynamic {
    std::uint64_t nameBytes = 0;
    std::uint64_t nameAddress = 0;
    std::uint64_t symbolAddress = 0;
    std::uint64_t hashAddress = 0;
    std::uint64_t gnuHashAddress = 0;
    std::uint64_t versionAddress = 0;
    std::uint64_t versionCount = 0;
    std::uint64_t definedVersionAddress = 0;
    std::uint64_t definedVersionCount = 0;
    std::vector<std::uint64_t> needed;  // where their names stand
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

// Each empty when the file has no such table. sectionBytes is the size of the symbols
// as the section headers tell it, 0 where these are gone.
template <class Layout>
std::vector<ElfSymbol> readElfSymbols(const ElfImage& image, const ElfDynamic& dynamic,
                                      std::uint64_t sectionBytes);
std::vector<ElfVersion> readNeededVersions(const ElfImage& image, const ElfDynamic& dynamic);
std::vector<std::string_view> readDefinedVersions(const ElfImage& image, const ElfDynamic& dynamic);

}  // namespace panel
