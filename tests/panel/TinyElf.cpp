#include "tests/panel/TinyElf.h"

#include <elf.h>
#include <cstring>

namespace
{

struct Types32 {
    using Header = Elf32_Ehdr;
    using Program = Elf32_Phdr;
    using Section = Elf32_Shdr;
    using Dyn = Elf32_Dyn;
    using Sym = Elf32_Sym;
    using Address = Elf32_Addr;
    static constexpr std::size_t kBloomBytes = 4;
};
struct Types64 {
    using Header = Elf64_Ehdr;
    using Program = Elf64_Phdr;
    using Section = Elf64_Shdr;
    using Dyn = Elf64_Dyn;
    using Sym = Elf64_Sym;
    using Address = Elf64_Addr;
    static constexpr std::size_t kBloomBytes = 8;
};

template <class Types>
class Builder
{
public:
    explicit Builder(const TinyElf& elf) : m_elf(elf) {}

    std::vector<unsigned char> build()
    {
        const unsigned programs = 2U + (m_elf.relro ? 1U : 0U) + (m_elf.stackHeader ? 1U : 0U);
        typename Types::Header header{};
        m_bytes.resize(sizeof header + programs * sizeof(typename Types::Program));
        const std::size_t versionsAt = appendVersions();
        const std::size_t hashAt = appendHash();
        const std::size_t symbolsAt = appendSymbols();
        const std::size_t namesAt = appendBytes(m_names.data(), m_names.size());
        const std::size_t dynamicAt = appendDynamic(symbolsAt, namesAt, hashAt, versionsAt);
        const std::size_t dynamicBytes = m_bytes.size() - dynamicAt;
        const std::size_t loadedBytes = m_bytes.size();
        appendSections(header, symbolsAt);
        fillHeader(header, programs);
        fillPrograms(loadedBytes, dynamicAt, dynamicBytes);
        return m_bytes;
    }

private:
    std::size_t name(const std::string& text)
    {
        const std::size_t at = m_names.size();
        m_names.append(text).push_back('\0');
        return at;
    }
    std::size_t appendBytes(const void* data, std::size_t count)
    {
        const std::size_t at = m_bytes.size();
        const auto* first = static_cast<const unsigned char*>(data);
        m_bytes.insert(m_bytes.end(), first, first + count);
        return at;
    }
    template <class T>
    std::size_t append(const T& value)
    {
        return appendBytes(&value, sizeof value);
    }
    static auto narrow(std::size_t value) { return static_cast<typename Types::Address>(value); }
    static auto word(std::size_t value) { return static_cast<std::uint32_t>(value); }

    std::size_t appendSymbols()
    {
        const std::size_t at = append(typename Types::Sym{});
        for (const TinyElf::Symbol& symbol : m_elf.symbols) {
            typename Types::Sym entry{};
            entry.st_name = word(name(symbol.name));
            entry.st_info = symbol.weak ? ELF64_ST_INFO(STB_WEAK, STT_FUNC)
                                        : ELF64_ST_INFO(STB_GLOBAL, STT_FUNC);
            entry.st_other = symbol.hidden ? STV_HIDDEN : STV_DEFAULT;
            entry.st_shndx = symbol.defined ? 1 : SHN_UNDEF;
            append(entry);
        }
        return at;
    }
    std::size_t appendVersions()
    {
        if (m_elf.versions.empty()) return 0;
        Elf64_Verneed library{};
        library.vn_version = 1;
        library.vn_cnt = static_cast<std::uint16_t>(m_elf.versions.size());
        library.vn_aux = sizeof library;
        const std::size_t at = append(library);
        for (std::size_t i = 0; i < m_elf.versions.size(); ++i) {
            Elf64_Vernaux version{};
            version.vna_name = word(name(m_elf.versions[i]));
            version.vna_next = i + 1 < m_elf.versions.size() ? word(sizeof version) : 0;
            append(version);
        }
        return at;
    }
    std::size_t appendHash()
    {
        const std::uint32_t count = word(m_elf.symbols.size() + 1);
        if (m_elf.countBy == TinyElf::CountBy::kHash) {
            const std::uint32_t table[] = {1, count, 0};
            return append(table);
        }
        if (m_elf.countBy == TinyElf::CountBy::kSections) return 0;
        // One bucket; undefined symbols stand in front of the hashed ones.
        std::uint32_t firstDefined = 1;
        for (const TinyElf::Symbol& symbol : m_elf.symbols) firstDefined += symbol.defined ? 0 : 1;
        const std::uint32_t head[] = {1, firstDefined, 1, 0};
        const std::size_t at = append(head);
        m_bytes.resize(m_bytes.size() + Types::kBloomBytes);
        append(firstDefined < count ? firstDefined : std::uint32_t{0});
        for (std::uint32_t i = firstDefined; i < count; ++i) {
            append(std::uint32_t{i + 1 == count ? 1U : 0U});
        }
        return at;
    }
    void dyn(std::int64_t tag, std::size_t value)
    {
        typename Types::Dyn entry{};
        entry.d_tag = static_cast<decltype(entry.d_tag)>(tag);
        entry.d_un.d_val = narrow(value);
        append(entry);
    }
    std::size_t appendDynamic(std::size_t symbolsAt, std::size_t namesAt, std::size_t hashAt,
                              std::size_t versionsAt)
    {
        const std::size_t at = m_bytes.size();
        std::size_t index = 1;  // where the names of the needed libraries stand
        for (const std::string& library : m_elf.needed) {
            dyn(DT_NEEDED, index);
            index += library.size() + 1;
        }
        dyn(DT_SYMTAB, symbolsAt);
        dyn(DT_STRTAB, namesAt);
        dyn(DT_STRSZ, m_names.size());
        if (hashAt != 0) {
            dyn(m_elf.countBy == TinyElf::CountBy::kHash ? DT_HASH : DT_GNU_HASH, hashAt);
        }
        if (versionsAt != 0) {
            dyn(DT_VERNEED, versionsAt);
            dyn(DT_VERNEEDNUM, 1);
        }
        if (m_elf.bindNow) dyn(DT_FLAGS_1, DF_1_NOW);
        if (m_elf.textRelocations) dyn(DT_TEXTREL, 0);
        dyn(DT_NULL, 0);
        return at;
    }
    void appendSections(typename Types::Header& header, std::size_t symbolsAt)
    {
        if (m_elf.countBy != TinyElf::CountBy::kSections) return;
        typename Types::Section section{};
        section.sh_type = SHT_DYNSYM;
        section.sh_offset = narrow(symbolsAt);
        section.sh_size = narrow((m_elf.symbols.size() + 1) * sizeof(typename Types::Sym));
        header.e_shoff = narrow(append(section));
        header.e_shnum = 1;
        header.e_shentsize = sizeof section;
    }
    void fillHeader(typename Types::Header& header, unsigned programs)
    {
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = m_elf.is64 ? ELFCLASS64 : ELFCLASS32;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_type = m_elf.type;
        header.e_machine = m_elf.machine;
        header.e_flags = m_elf.flags;
        header.e_phoff = sizeof header;
        header.e_phnum = static_cast<std::uint16_t>(programs);
        header.e_phentsize = sizeof(typename Types::Program);
        std::memcpy(m_bytes.data(), &header, sizeof header);
    }
    void fillPrograms(std::size_t loadedBytes, std::size_t dynamicAt, std::size_t dynamicBytes)
    {
        typename Types::Program program{};
        std::size_t at = sizeof(typename Types::Header);
        const auto put = [&] {
            std::memcpy(m_bytes.data() + at, &program, sizeof program);
            at += sizeof program;
            program = {};
        };
        program.p_type = PT_LOAD;
        program.p_filesz = program.p_memsz = narrow(loadedBytes);
        put();
        program.p_type = PT_DYNAMIC;
        program.p_offset = program.p_vaddr = narrow(dynamicAt);
        program.p_filesz = program.p_memsz = narrow(dynamicBytes);
        put();
        if (m_elf.relro) {
            program.p_type = PT_GNU_RELRO;
            put();
        }
        if (m_elf.stackHeader) {
            program.p_type = PT_GNU_STACK;
            program.p_flags = PF_R | PF_W | (m_elf.executableStack ? unsigned{PF_X} : 0U);
            put();
        }
    }

    static std::string neededNames(const TinyElf& elf)
    {
        std::string names(1, '\0');
        for (const std::string& library : elf.needed) names.append(library).push_back('\0');
        return names;
    }

    const TinyElf& m_elf;
    std::vector<unsigned char> m_bytes;
    std::string m_names = neededNames(m_elf);
};

}  // namespace

std::vector<unsigned char> TinyElf::bytes() const
{
    return is64 ? Builder<Types64>(*this).build() : Builder<Types32>(*this).build();
}

TinyElf armDriver()
{
    TinyElf elf;
    elf.is64 = false;
    elf.machine = EM_ARM;
    elf.flags = EF_ARM_EABI_VER5 | EF_ARM_ABI_FLOAT_HARD;
    elf.symbols = {{"CreateDeviceCtrl"}, {"DestroyDeviceCtrl"}};
    return elf;
}
