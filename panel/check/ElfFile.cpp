#include "panel/check/ElfFile.h"

#include <elf.h>
#include <algorithm>
#include <array>
#include <optional>

namespace panel
{

namespace
{

// Entries of the dynamic section that are addresses, sizes and counts.
struct DynamicField {
    std::int64_t tag;
    std::uint64_t ElfDynamic::*field;
};
constexpr DynamicField kDynamicFields[] = {
    {DT_STRTAB, &ElfDynamic::nameAddress},
    {DT_STRSZ, &ElfDynamic::nameBytes},
    {DT_SYMTAB, &ElfDynamic::symbolAddress},
    {DT_HASH, &ElfDynamic::hashAddress},
    {DT_GNU_HASH, &ElfDynamic::gnuHashAddress},
    {DT_VERNEED, &ElfDynamic::versionAddress},
    {DT_VERNEEDNUM, &ElfDynamic::versionCount},
    {DT_VERDEF, &ElfDynamic::definedVersionAddress},
    {DT_VERDEFNUM, &ElfDynamic::definedVersionCount},
};

// Entries that say yes to something: whatever their value is, or with one of its bits.
struct DynamicFlag {
    std::int64_t tag;
    std::uint64_t bit;  // 0: the entry alone says so
    bool ElfFile::*field;
};
constexpr DynamicFlag kDynamicFlags[] = {
    {DT_TEXTREL, 0, &ElfFile::textRelocations}, {DT_FLAGS, DF_TEXTREL, &ElfFile::textRelocations},
    {DT_BIND_NOW, 0, &ElfFile::bindNow},        {DT_FLAGS, DF_BIND_NOW, &ElfFile::bindNow},
    {DT_FLAGS_1, DF_1_NOW, &ElfFile::bindNow},  {DT_FLAGS_1, DF_1_PIE, &ElfFile::isProgram},
};

}  // namespace

ElfFile::ElfFile(std::vector<unsigned char> bytes) : m_image(std::move(bytes))
{
    constexpr const char* kWhat = "the header";
    if (!m_image.beginsWith({ELFMAG, SELFMAG})) throw ElfError("no ELF file");
    const auto identity = m_image.load<std::array<unsigned char, EI_NIDENT>>(0, kWhat);
    if (identity[EI_DATA] != ELFDATA2LSB) {
        throw ElfError("made for a processor with the most significant byte first");
    }
    if (identity[EI_CLASS] != ELFCLASS32 && identity[EI_CLASS] != ELFCLASS64) {
        throw ElfError("damaged: neither 32 nor 64 bits");
    }
    is64 = identity[EI_CLASS] == ELFCLASS64;
    if (is64) {
        parse<ElfLayout64>();
    } else {
        parse<ElfLayout32>();
    }
}

bool ElfFile::defines(std::string_view name) const
{
    return std::any_of(symbols.begin(), symbols.end(), [name](const ElfSymbol& symbol) {
        return symbol.defined && symbol.name == name;
    });
}

template <class Layout>
void ElfFile::parse()
{
    const auto header = m_image.load<typename Layout::Header>(0, "the header");
    machine = header.e_machine;
    flags = header.e_flags;
    sharedObject = header.e_type == ET_DYN;
    isProgram = header.e_type == ET_EXEC;
    const Extent section = readSegments<Layout>(header);
    const std::uint64_t symbolBytes = readSections<Layout>(header);
    const ElfDynamic dynamic = readDynamic<Layout>(section);
    m_image.useNames(dynamic.nameAddress, dynamic.nameBytes);
    for (const std::uint64_t index : dynamic.needed) needed.push_back(m_image.name(index));
    symbols = readElfSymbols<Layout>(m_image, dynamic, symbolBytes);
    versions = readNeededVersions(m_image, dynamic);
    definedVersions = readDefinedVersions(m_image, dynamic);
}

template <class Layout>
ElfFile::Extent ElfFile::readSegments(const typename Layout::Header& header)
{
    using Program = typename Layout::Program;
    if (header.e_phnum > 0 && header.e_phentsize != sizeof(Program)) {
        throw ElfError("damaged: program headers of a strange size");
    }
    m_image.requireRange(header.e_phoff, std::uint64_t{header.e_phnum} * sizeof(Program),
                         "the table of segments");
    std::optional<Extent> dynamic;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        const auto program = m_image.load<Program>(
            header.e_phoff + std::uint64_t{i} * sizeof(Program), "a segment header");
        if (program.p_type == PT_GNU_RELRO) relro = true;
        if (program.p_type == PT_GNU_STACK) executableStack = (program.p_flags & PF_X) != 0;
        if (program.p_type == PT_DYNAMIC) dynamic = {program.p_offset, program.p_filesz};
        if (program.p_type == PT_LOAD) {
            m_image.addSegment(program.p_vaddr, program.p_offset, program.p_filesz);
        }
    }
    if (!dynamic) throw ElfError("nothing for the dynamic loader in it");
    return *dynamic;
}

template <class Layout>
std::uint64_t ElfFile::readSections(const typename Layout::Header& header) const
{
    using Section = typename Layout::Section;
    if (header.e_shoff == 0) return 0;
    if (header.e_shnum > 0 && header.e_shentsize != sizeof(Section)) {
        throw ElfError("damaged: section headers of a strange size");
    }
    m_image.requireRange(header.e_shoff, std::uint64_t{header.e_shnum} * sizeof(Section),
                         "the table of sections");
    std::uint64_t symbolBytes = 0;
    for (unsigned i = 0; i < header.e_shnum; ++i) {
        const auto section = m_image.load<Section>(
            header.e_shoff + std::uint64_t{i} * sizeof(Section), "a section header");
        if (section.sh_type == SHT_DYNSYM) symbolBytes = section.sh_size;
    }
    return symbolBytes;
}

template <class Layout>
ElfDynamic ElfFile::readDynamic(Extent section)
{
    using Dyn = typename Layout::Dyn;
    constexpr const char* kWhat = "the dynamic section";
    m_image.requireRange(section.offset, section.bytes, kWhat);
    ElfDynamic dynamic;
    for (std::uint64_t i = 0; i < section.bytes / sizeof(Dyn); ++i) {
        const auto entry = m_image.load<Dyn>(section.offset + i * sizeof(Dyn), kWhat);
        const std::uint64_t value = entry.d_un.d_val;
        if (entry.d_tag == DT_NULL) break;
        if (entry.d_tag == DT_NEEDED) dynamic.needed.push_back(value);
        for (const DynamicField& known : kDynamicFields) {
            if (entry.d_tag == known.tag) dynamic.*known.field = value;
        }
        for (const DynamicFlag& known : kDynamicFlags) {
            if (entry.d_tag != known.tag) continue;
            if (known.bit == 0 || (value & known.bit) != 0) this->*known.field = true;
        }
    }
    return dynamic;
}

}  // namespace panel
