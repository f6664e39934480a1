#include "panel/ElfFile.h"

#include <elf.h>
#include <algorithm>
#include <cstring>

namespace panel
{

namespace
{

// Longest name of a symbol or a library, in bytes.
constexpr std::size_t kMaxNameBytes = 16384;
// Most versions of symbols, needed ones and defined ones each.
constexpr std::size_t kMaxVersions = 4096;

struct Layout32 {
    using Header = Elf32_Ehdr;
    using Program = Elf32_Phdr;
    using Section = Elf32_Shdr;
    using Dyn = Elf32_Dyn;
    using Symbol = Elf32_Sym;
    using BloomWord = Elf32_Word;
};
struct Layout64 {
    using Header = Elf64_Ehdr;
    using Program = Elf64_Phdr;
    using Section = Elf64_Shdr;
    using Dyn = Elf64_Dyn;
    using Symbol = Elf64_Sym;
    using BloomWord = Elf64_Xword;
};

// For an offset or count that was compared with the file's size. By way of a
// signed type, because size_t is the same type as uint64_t on some processors
// only and a cast to the same type draws a warning.
std::size_t toSize(std::uint64_t value)
{
    return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(value));
}

}  // namespace

// The entries of the dynamic section that matter here; addresses as in memory.
struct ElfFile::Dynamic {
    std::uint64_t textOffset = 0;  // of the string table, in the file
    std::uint64_t textBytes = 0;
    std::uint64_t textAddress = 0;
    std::uint64_t symbolAddress = 0;
    std::uint64_t hashAddress = 0;
    std::uint64_t gnuHashAddress = 0;
    std::uint64_t versionAddress = 0;
    std::uint64_t versionCount = 0;
    std::uint64_t definedVersionAddress = 0;
    std::uint64_t definedVersionCount = 0;
    std::vector<std::uint64_t> needed;
};

ElfFile::ElfFile(std::vector<unsigned char> bytes) : m_bytes(std::move(bytes))
{
    if (m_bytes.size() < SELFMAG || std::memcmp(m_bytes.data(), ELFMAG, SELFMAG) != 0) {
        throw ElfError("no ELF file");
    }
    requireRange(0, EI_NIDENT, "the header");
    if (m_bytes[EI_DATA] != ELFDATA2LSB) {
        throw ElfError("made for a processor with the most significant byte first");
    }
    if (m_bytes[EI_CLASS] != ELFCLASS32 && m_bytes[EI_CLASS] != ELFCLASS64) {
        throw ElfError("damaged: neither 32 nor 64 bits");
    }
    is64 = m_bytes[EI_CLASS] == ELFCLASS64;
    if (is64) {
        parse<Layout64>();
    } else {
        parse<Layout32>();
    }
}

bool ElfFile::defines(std::string_view name) const
{
    return std::any_of(symbols.begin(), symbols.end(), [name](const ElfSymbol& symbol) {
        return symbol.defined && symbol.name == name;
    });
}

void ElfFile::requireRange(std::uint64_t offset, std::uint64_t count, const char* what) const
{
    if (offset > m_bytes.size() || count > m_bytes.size() - offset) {
        throw ElfError(std::string("truncated: ") + what + " lies beyond the end of the file");
    }
}

template <class T>
T ElfFile::load(std::uint64_t offset, const char* what) const
{
    requireRange(offset, sizeof(T), what);
    T value;
    std::memcpy(&value, m_bytes.data() + toSize(offset), sizeof value);
    return value;
}

std::uint64_t ElfFile::fileOffset(std::uint64_t address, const char* what) const
{
    for (const Segment& segment : m_segments) {
        if (address >= segment.address && address - segment.address < segment.fileSize) {
            return segment.offset + (address - segment.address);
        }
    }
    throw ElfError(std::string("damaged: ") + what + " lies in no segment");
}

std::string_view ElfFile::textAt(const Dynamic& dynamic, std::uint64_t index) const
{
    if (index >= dynamic.textBytes) throw ElfError("damaged: a name lies outside the name table");
    const std::size_t room = std::min(toSize(dynamic.textBytes - index), kMaxNameBytes);
    const unsigned char* begin = m_bytes.data() + toSize(dynamic.textOffset + index);
    const void* end = std::memchr(begin, 0, room);
    if (end == nullptr) throw ElfError("damaged: a name without an end");
    return {reinterpret_cast<const char*>(begin),
            static_cast<std::size_t>(static_cast<const unsigned char*>(end) - begin)};
}

template <class Layout>
void ElfFile::parse()
{
    using Header = typename Layout::Header;
    using Program = typename Layout::Program;
    using Section = typename Layout::Section;
    const Header header = load<Header>(0, "the header");
    machine = header.e_machine;
    flags = header.e_flags;
    sharedObject = header.e_type == ET_DYN;
    isProgram = header.e_type == ET_EXEC;
    if (header.e_phnum > 0 && header.e_phentsize != sizeof(Program)) {
        throw ElfError("damaged: program headers of a strange size");
    }
    requireRange(header.e_phoff, std::uint64_t{header.e_phnum} * sizeof(Program),
                 "the table of segments");

    // Without a word about it the stack is executable.
    executableStack = true;
    bool dynamicFound = false;
    Program dynamicProgram{};
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        const Program program =
            load<Program>(header.e_phoff + std::uint64_t{i} * sizeof(Program), "a segment header");
        if (program.p_type == PT_GNU_RELRO) relro = true;
        if (program.p_type == PT_GNU_STACK) executableStack = (program.p_flags & PF_X) != 0;
        if (program.p_type == PT_DYNAMIC) {
            dynamicFound = true;
            dynamicProgram = program;
        }
        if (program.p_type != PT_LOAD) continue;
        requireRange(program.p_offset, program.p_filesz, "a segment");
        m_segments.push_back({program.p_vaddr, program.p_offset, program.p_filesz});
    }

    if (header.e_shoff != 0) {
        if (header.e_shnum > 0 && header.e_shentsize != sizeof(Section)) {
            throw ElfError("damaged: section headers of a strange size");
        }
        requireRange(header.e_shoff, std::uint64_t{header.e_shnum} * sizeof(Section),
                     "the table of sections");
        for (unsigned i = 0; i < header.e_shnum; ++i) {
            const Section section = load<Section>(
                header.e_shoff + std::uint64_t{i} * sizeof(Section), "a section header");
            if (section.sh_type == SHT_DYNSYM) m_symbolSectionBytes = section.sh_size;
        }
    }

    if (!dynamicFound) throw ElfError("nothing for the dynamic loader in it");
    requireRange(dynamicProgram.p_offset, dynamicProgram.p_filesz, "the dynamic section");
    Dynamic dynamic;
    readDynamic<Layout>(dynamicProgram.p_offset,
                        dynamicProgram.p_filesz / sizeof(typename Layout::Dyn), dynamic);
    if (dynamic.textAddress == 0) throw ElfError("damaged: no name table");
    dynamic.textOffset = fileOffset(dynamic.textAddress, "the name table");
    requireRange(dynamic.textOffset, dynamic.textBytes, "the name table");
    for (const std::uint64_t index : dynamic.needed) needed.push_back(textAt(dynamic, index));
    if (dynamic.symbolAddress != 0) readSymbols<Layout>(dynamic, countSymbols<Layout>(dynamic));
    if (dynamic.versionAddress != 0) readVersions(dynamic);
    if (dynamic.definedVersionAddress != 0) readDefinedVersions(dynamic);
}

template <class Layout>
void ElfFile::readDynamic(std::uint64_t offset, std::uint64_t count, Dynamic& dynamic)
{
    using Dyn = typename Layout::Dyn;
    for (std::uint64_t i = 0; i < count; ++i) {
        const Dyn entry = load<Dyn>(offset + i * sizeof(Dyn), "the dynamic section");
        const std::uint64_t value = entry.d_un.d_val;
        switch (entry.d_tag) {
            case DT_NULL:
                return;
            case DT_NEEDED:
                dynamic.needed.push_back(value);
                break;
            case DT_STRTAB:
                dynamic.textAddress = value;
                break;
            case DT_STRSZ:
                dynamic.textBytes = value;
                break;
            case DT_SYMTAB:
                dynamic.symbolAddress = value;
                break;
            case DT_HASH:
                dynamic.hashAddress = value;
                break;
            case DT_GNU_HASH:
                dynamic.gnuHashAddress = value;
                break;
            case DT_VERNEED:
                dynamic.versionAddress = value;
                break;
            case DT_VERNEEDNUM:
                dynamic.versionCount = value;
                break;
            case DT_VERDEF:
                dynamic.definedVersionAddress = value;
                break;
            case DT_VERDEFNUM:
                dynamic.definedVersionCount = value;
                break;
            case DT_TEXTREL:
                textRelocations = true;
                break;
            case DT_BIND_NOW:
                bindNow = true;
                break;
            case DT_FLAGS:
                textRelocations = textRelocations || (value & DF_TEXTREL) != 0;
                bindNow = bindNow || (value & DF_BIND_NOW) != 0;
                break;
            case DT_FLAGS_1:
                bindNow = bindNow || (value & DF_1_NOW) != 0;
                isProgram = isProgram || (value & DF_1_PIE) != 0;
                break;
            default:
                break;
        }
    }
}

// The dynamic section does not tell how many symbols there are: the section
// headers do where they are left, then the hash tables.
template <class Layout>
std::uint64_t ElfFile::countSymbols(const Dynamic& dynamic) const
{
    using Word = std::uint32_t;
    if (m_symbolSectionBytes != 0) return m_symbolSectionBytes / sizeof(typename Layout::Symbol);
    if (dynamic.hashAddress != 0) {
        const std::uint64_t table = fileOffset(dynamic.hashAddress, "the hash table");
        return load<Word>(table + sizeof(Word), "the hash table");
    }
    if (dynamic.gnuHashAddress == 0) return 0;
    const std::uint64_t table = fileOffset(dynamic.gnuHashAddress, "the hash table");
    const std::uint64_t bucketCount = load<Word>(table, "the hash table");
    const std::uint64_t firstHashed = load<Word>(table + 4, "the hash table");
    const std::uint64_t bloomCount = load<Word>(table + 8, "the hash table");
    const std::uint64_t buckets = table + 16 + bloomCount * sizeof(typename Layout::BloomWord);
    requireRange(buckets, bucketCount * sizeof(Word), "the hash table");
    std::uint64_t last = 0;
    for (std::uint64_t i = 0; i < bucketCount; ++i) {
        last = std::max<std::uint64_t>(last, load<Word>(buckets + i * sizeof(Word), "a bucket"));
    }
    if (last < firstHashed) {
        // Nothing is exported; the names stand behind the symbols as linkers lay them out.
        return dynamic.textAddress > dynamic.symbolAddress
                   ? (dynamic.textAddress - dynamic.symbolAddress) / sizeof(typename Layout::Symbol)
                   : 0;
    }
    const std::uint64_t chains = buckets + bucketCount * sizeof(Word);
    while ((load<Word>(chains + (last - firstHashed) * sizeof(Word), "a hash chain") & 1) == 0) {
        ++last;
    }
    return last + 1;
}

template <class Layout>
void ElfFile::readSymbols(const Dynamic& dynamic, std::uint64_t count)
{
    using Symbol = typename Layout::Symbol;
    const std::uint64_t table = fileOffset(dynamic.symbolAddress, "the symbol table");
    requireRange(table, count * sizeof(Symbol), "the symbol table");
    symbols.reserve(toSize(count));
    for (std::uint64_t i = 1; i < count; ++i) {  // the first one stands for none
        const Symbol symbol = load<Symbol>(table + i * sizeof(Symbol), "a symbol");
        // The macros of both classes are the same.
        const unsigned binding = ELF64_ST_BIND(symbol.st_info);
        const unsigned visibility = ELF64_ST_VISIBILITY(symbol.st_other);
        if (binding == STB_LOCAL) continue;
        const bool visible = visibility == STV_DEFAULT || visibility == STV_PROTECTED;
        if (symbol.st_shndx != SHN_UNDEF && !visible) continue;
        symbols.push_back(
            {textAt(dynamic, symbol.st_name), symbol.st_shndx != SHN_UNDEF, binding == STB_WEAK});
    }
}

// Records may overlap in a damaged file, so only a cap bounds their number.
void ElfFile::readVersions(const Dynamic& dynamic)
{
    constexpr const char* kWhat = "the table of versions";
    // These records are the same for both classes.
    std::uint64_t offset = fileOffset(dynamic.versionAddress, kWhat);
    std::size_t records = 0;
    for (std::uint64_t i = 0; i < dynamic.versionCount; ++i) {
        const auto library = load<Elf64_Verneed>(offset, kWhat);
        std::uint64_t entry = offset + library.vn_aux;
        for (unsigned k = 0; k < library.vn_cnt; ++k) {
            if (++records > kMaxVersions) throw ElfError("damaged: too many versions");
            const auto version = load<Elf64_Vernaux>(entry, kWhat);
            versions.push_back({textAt(dynamic, library.vn_file), textAt(dynamic, version.vna_name),
                                (version.vna_flags & VER_FLG_WEAK) != 0});
            if (version.vna_next == 0) break;
            entry += version.vna_next;
        }
        if (library.vn_next == 0) break;
        if (++records > kMaxVersions) throw ElfError("damaged: too many versions");
        offset += library.vn_next;
    }
}

void ElfFile::readDefinedVersions(const Dynamic& dynamic)
{
    constexpr const char* kWhat = "the table of its own versions";
    std::uint64_t offset = fileOffset(dynamic.definedVersionAddress, kWhat);
    for (std::uint64_t i = 0; i < dynamic.definedVersionCount; ++i) {
        if (i == kMaxVersions) throw ElfError("damaged: too many versions of its own");
        const auto definition = load<Elf64_Verdef>(offset, kWhat);
        // The first name is the version's own, the others those that it inherits from.
        if (definition.vd_cnt > 0) {
            const auto name = load<Elf64_Verdaux>(offset + definition.vd_aux, kWhat);
            definedVersions.push_back(textAt(dynamic, name.vda_name));
        }
        if (definition.vd_next == 0) break;
        offset += definition.vd_next;
    }
}

}  // namespace panel
