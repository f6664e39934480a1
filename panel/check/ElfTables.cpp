#include "panel/check/ElfTables.h"

#include <algorithm>

namespace panel
{

namespace
{

// Most versions of symbols, needed ones and defined ones each. Records may overlap
// in a damaged file, so only a cap bounds their number.
constexpr std::size_t kMaxVersions = 4096;

// The last symbol that is not local, as the hash table of newer linkers knows it.
template <class Layout>
std::uint64_t countByGnuHash(const ElfImage& image, const ElfDynamic& dynamic)
{
    using Word = std::uint32_t;
    constexpr const char* kWhat = "the hash table";
    const std::uint64_t table = image.fileOffset(dynamic.gnuHashAddress, kWhat);
    const std::uint64_t bucketCount = image.load<Word>(table, kWhat);
    const std::uint64_t firstHashed = image.load<Word>(table + 4, kWhat);
    const std::uint64_t bloomCount = image.load<Word>(table + 8, kWhat);
    const std::uint64_t buckets = table + 16 + bloomCount * sizeof(typename Layout::BloomWord);
    image.requireRange(buckets, bucketCount * sizeof(Word), kWhat);
    std::uint64_t last = 0;
    for (std::uint64_t i = 0; i < bucketCount; ++i) {
        const auto bucket = image.load<Word>(buckets + i * sizeof(Word), "a bucket");
        last = std::max<std::uint64_t>(last, bucket);
    }
    if (last < firstHashed) {
        // Nothing is exported; the names stand behind the symbols as linkers lay them out.
        return dynamic.nameAddress > dynamic.symbolAddress
                   ? (dynamic.nameAddress - dynamic.symbolAddress) / sizeof(typename Layout::Symbol)
                   : 0;
    }
    const std::uint64_t chains = buckets + bucketCount * sizeof(Word);
    const auto endsChain = [&](std::uint64_t index) {
        const std::uint64_t offset = chains + (index - firstHashed) * sizeof(Word);
        return (image.load<Word>(offset, "a hash chain") & 1) != 0;
    };
    while (!endsChain(last)) ++last;
    return last + 1;
}

// The dynamic section does not tell how many symbols there are: the section
// headers do where they are left, then the hash tables.
template <class Layout>
std::uint64_t countSymbols(const ElfImage& image, const ElfDynamic& dynamic,
                           std::uint64_t sectionBytes)
{
    if (sectionBytes != 0) return sectionBytes / sizeof(typename Layout::Symbol);
    if (dynamic.hashAddress != 0) {
        const std::uint64_t table = image.fileOffset(dynamic.hashAddress, "the hash table");
        return image.load<std::uint32_t>(table + sizeof(std::uint32_t), "the hash table");
    }
    return dynamic.gnuHashAddress == 0 ? 0 : countByGnuHash<Layout>(image, dynamic);
}

}  // namespace

template <class Layout>
std::vector<ElfSymbol> readElfSymbols(const ElfImage& image, const ElfDynamic& dynamic,
                                      std::uint64_t sectionBytes)
{
    using Symbol = typename Layout::Symbol;
    std::vector<ElfSymbol> symbols;
    if (dynamic.symbolAddress == 0) return symbols;
    const std::uint64_t count = countSymbols<Layout>(image, dynamic, sectionBytes);
    const std::uint64_t table = image.fileOffset(dynamic.symbolAddress, "the symbol table");
    image.requireRange(table, count * sizeof(Symbol), "the symbol table");
    symbols.reserve(ElfImage::toSize(count));
    for (std::uint64_t i = 1; i < count; ++i) {  // the first one stands for none
        const Symbol symbol = image.load<Symbol>(table + i * sizeof(Symbol), "a symbol");
        // The macros of both classes are the same.
        const unsigned binding = ELF64_ST_BIND(symbol.st_info);
        const unsigned visibility = ELF64_ST_VISIBILITY(symbol.st_other);
        if (binding == STB_LOCAL) continue;
        const bool visible = visibility == STV_DEFAULT || visibility == STV_PROTECTED;
        if (symbol.st_shndx != SHN_UNDEF && !visible) continue;
        symbols.push_back(
            {image.name(symbol.st_name), symbol.st_shndx != SHN_UNDEF, binding == STB_WEAK});
    }
    return symbols;
}

template std::vector<ElfSymbol> readElfSymbols<ElfLayout32>(const ElfImage&, const ElfDynamic&,
                                                            std::uint64_t);
template std::vector<ElfSymbol> readElfSymbols<ElfLayout64>(const ElfImage&, const ElfDynamic&,
                                                            std::uint64_t);

// The records of versions are the same for both classes.

std::vector<ElfVersion> readNeededVersions(const ElfImage& image, const ElfDynamic& dynamic)
{
    constexpr const char* kWhat = "the table of versions";
    std::vector<ElfVersion> versions;
    if (dynamic.versionAddress == 0) return versions;
    std::uint64_t offset = image.fileOffset(dynamic.versionAddress, kWhat);
    std::size_t records = 0;
    for (std::uint64_t i = 0; i < dynamic.versionCount; ++i) {
        const auto library = image.load<Elf64_Verneed>(offset, kWhat);
        std::uint64_t entry = offset + library.vn_aux;
        for (unsigned k = 0; k < library.vn_cnt; ++k) {
            if (++records > kMaxVersions) throw ElfError("damaged: too many versions");
            const auto version = image.load<Elf64_Vernaux>(entry, kWhat);
            versions.push_back({image.name(library.vn_file), image.name(version.vna_name),
                                (version.vna_flags & VER_FLG_WEAK) != 0});
            if (version.vna_next == 0) break;
            entry += version.vna_next;
        }
        if (library.vn_next == 0) break;
        if (++records > kMaxVersions) throw ElfError("damaged: too many versions");
        offset += library.vn_next;
    }
    return versions;
}

std::vector<std::string_view> readDefinedVersions(const ElfImage& image, const ElfDynamic& dynamic)
{
    constexpr const char* kWhat = "the table of its own versions";
    std::vector<std::string_view> versions;
    if (dynamic.definedVersionAddress == 0) return versions;
    std::uint64_t offset = image.fileOffset(dynamic.definedVersionAddress, kWhat);
    for (std::uint64_t i = 0; i < dynamic.definedVersionCount; ++i) {
        if (i == kMaxVersions) throw ElfError("damaged: too many versions of its own");
        const auto definition = image.load<Elf64_Verdef>(offset, kWhat);
        // The first name is the version's own, the others those that it inherits from.
        if (definition.vd_cnt > 0) {
            const auto name = image.load<Elf64_Verdaux>(offset + definition.vd_aux, kWhat);
            versions.push_back(image.name(name.vda_name));
        }
        if (definition.vd_next == 0) break;
        offset += definition.vd_next;
    }
    return versions;
}

}  // namespace panel
