#include "panel/check/ElfFile.h"
#include "panel/check/Processor.h"
#include "tests/panel/TinyElf.h"

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstring>

namespace panel
{
namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TinyElf example(bool is64, TinyElf::CountBy countBy)
{
    TinyElf elf = armDriver();
    elf.is64 = is64;
    elf.countBy = countBy;
    elf.needed = {"libstdc++.so.6", "libc.so.6"};
    elf.versions = {"GLIBC_2.4", "GLIBC_2.34"};
    elf.symbols = {{"malloc", false},
                   {"maybe", false, true},
                   {"CreateDeviceCtrl"},
                   {"secret", true, false, true},
                   {"DestroyDeviceCtrl"}};
    return elf;
}

std::string errorOf(std::vector<unsigned char> bytes)
{
    try {
        const ElfFile file(std::move(bytes));
        return "";
    } catch (const ElfError& error) {
        return error.what();
    }
}

using Shape = std::tuple<bool, TinyElf::CountBy>;

class ElfShapeTest : public ::testing::TestWithParam<Shape>
{
protected:
    TinyElf elf() const { return std::apply(example, GetParam()); }
};

TEST_P(ElfShapeTest, TellsWhatTheLoaderSees)
{
    const ElfFile file(elf().bytes());
    EXPECT_EQ(file.is64, std::get<0>(GetParam()));
    EXPECT_EQ(file.machine, EM_ARM);
    EXPECT_TRUE(file.sharedObject);
    EXPECT_THAT(file.needed, ElementsAre("libstdc++.so.6", "libc.so.6"));
    EXPECT_THAT(file.versions, ElementsAre(::testing::Field(&ElfVersion::name, "GLIBC_2.4"),
                                           ::testing::Field(&ElfVersion::name, "GLIBC_2.34")));
    ASSERT_EQ(file.symbols.size(), 4U);  // a hidden name is nobody else's
    EXPECT_EQ(file.symbols[0].name, "malloc");
    EXPECT_FALSE(file.symbols[0].defined || file.symbols[0].weak);
    EXPECT_TRUE(!file.symbols[1].defined && file.symbols[1].weak);
    EXPECT_TRUE(file.defines("CreateDeviceCtrl") && file.defines("DestroyDeviceCtrl"));
    EXPECT_FALSE(file.defines("malloc") || file.defines("secret"));
}

TEST_P(ElfShapeTest, EveryTruncationIsRefused)
{
    const std::vector<unsigned char> whole = elf().bytes();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const auto end = whole.begin() + static_cast<std::ptrdiff_t>(length);
        EXPECT_NE(errorOf({whole.begin(), end}), "") << length;
    }
    EXPECT_EQ(errorOf(whole), "");
}

TEST_P(ElfShapeTest, NoChangedByteDoesHarm)
{
    const std::vector<unsigned char> whole = elf().bytes();
    std::size_t refused = 0;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            std::vector<unsigned char> changed = whole;
            changed[i] = static_cast<unsigned char>(value);
            if (!errorOf(std::move(changed)).empty()) ++refused;
        }
    }
    EXPECT_GT(refused, 100U);
}

INSTANTIATE_TEST_SUITE_P(Shapes, ElfShapeTest,
                         ::testing::Combine(::testing::Bool(),
                                            ::testing::Values(TinyElf::CountBy::kSections,
                                                              TinyElf::CountBy::kHash)));

TEST(ElfTest, TheGnuHashTableTellsTheCountToo)
{
    for (const bool is64 : {false, true}) {
        TinyElf elf = example(is64, TinyElf::CountBy::kGnuHash);
        elf.versions.clear();
        elf.symbols = {{"malloc", false}, {"A"}, {"B"}};
        EXPECT_EQ(ElfFile(elf.bytes()).symbols.size(), 3U);
        // Without exports the table is empty and the names' place tells.
        elf.symbols = {{"malloc", false}, {"free", false}};
        EXPECT_EQ(ElfFile(elf.bytes()).symbols.size(), 2U);
    }
}

TEST(ElfTest, SaysWhatIsWrongWithTheFile)
{
    EXPECT_EQ(errorOf({}), "no ELF file");
    EXPECT_EQ(errorOf({'#', '!', '/', 'b'}), "no ELF file");
    EXPECT_EQ(errorOf({0x7F, 'E', 'L', 'F'}),
              "truncated: the header lies beyond the end of the file");
    std::vector<unsigned char> bytes = armDriver().bytes();
    bytes[EI_DATA] = ELFDATA2MSB;
    EXPECT_THAT(errorOf(bytes), HasSubstr("most significant byte first"));
    bytes = armDriver().bytes();
    bytes.resize(bytes.size() - 1);
    EXPECT_THAT(errorOf(bytes), HasSubstr("truncated: the table of sections"));
    TinyElf gnuHash = armDriver();
    gnuHash.countBy = TinyElf::CountBy::kHash;
    bytes = gnuHash.bytes();
    bytes.resize(bytes.size() - 1);
    EXPECT_THAT(errorOf(bytes), HasSubstr("truncated: a segment"));
}

TEST(ElfTest, HugeCountsAreRefusedBeforeAnythingIsAllocated)
{
    TinyElf elf = example(true, TinyElf::CountBy::kHash);
    std::vector<unsigned char> bytes = elf.bytes();
    const std::uint32_t count = 6;
    const std::uint32_t table[] = {1, count, 0};
    auto* const at =
        static_cast<unsigned char*>(::memmem(bytes.data(), bytes.size(), table, sizeof table));
    ASSERT_NE(at, nullptr);
    std::memset(at + 4, 0xFF, 4);
    EXPECT_THAT(errorOf(bytes), HasSubstr("truncated: the symbol table"));
}

TEST(ElfTest, HardeningIsReadFromHeadersAndFlags)
{
    TinyElf elf = armDriver();
    const ElfFile good(elf.bytes());
    EXPECT_TRUE(good.relro && good.bindNow);
    EXPECT_FALSE(good.textRelocations || good.executableStack);
    elf.relro = elf.bindNow = false;
    elf.textRelocations = elf.executableStack = true;
    const ElfFile bad(elf.bytes());
    EXPECT_FALSE(bad.relro || bad.bindNow);
    EXPECT_TRUE(bad.textRelocations && bad.executableStack);
    elf.stackHeader = elf.executableStack = false;
    EXPECT_TRUE(ElfFile(elf.bytes()).executableStack);
}

TEST(ElfTest, ProcessorsAreToldApartByTheirFloatAbiToo)
{
    TinyElf elf = armDriver();
    EXPECT_EQ(describe(processorOf(ElfFile(elf.bytes()))), "ARM, 32 bit, hard float");
    EXPECT_TRUE(processorOf(ElfFile(elf.bytes())) == targetOf("armv7"));
    elf.flags = EF_ARM_EABI_VER5 | EF_ARM_ABI_FLOAT_SOFT;
    EXPECT_TRUE(processorOf(ElfFile(elf.bytes())) == targetOf("armv7-softfloat"));
    elf.flags = EF_ARM_EABI_VER5;
    EXPECT_EQ(describe(processorOf(ElfFile(elf.bytes()))), "ARM, 32 bit, float ABI not marked");
    elf.machine = EM_X86_64;
    elf.is64 = true;
    EXPECT_TRUE(processorOf(ElfFile(elf.bytes())) == targetOf("x86-64"));
}

}  // namespace
}  // namespace panel
