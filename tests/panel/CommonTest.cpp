#include "common/Descriptor.h"
#include "common/NearestWord.h"
#include "common/ReadFile.h"
#include "common/Utf8.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

namespace common
{
namespace
{

bool isOpen(int fd) { return ::fcntl(fd, F_GETFD) >= 0; }
Descriptor opened() { return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

TEST(DescriptorTest, ItIsClosedOnceByItsLastOwner)
{
    int fd = -1;
    {
        Descriptor first = opened();
        fd = first.get();
        Descriptor second = std::move(first);
        EXPECT_FALSE(first);
        EXPECT_TRUE(second && isOpen(fd));
        first = std::move(second);
        EXPECT_EQ(first.get(), fd);
        Descriptor& same = first;
        first = std::move(same);
        EXPECT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
    EXPECT_FALSE(Descriptor());
    EXPECT_FALSE(Descriptor(::open("/does/not/exist", O_RDONLY | O_CLOEXEC)));
}

TEST(DescriptorTest, ANewOneClosesTheOldAndAReleasedOneStaysOpen)
{
    Descriptor descriptor = opened();
    const int old = descriptor.get();
    descriptor = opened();
    EXPECT_FALSE(isOpen(old) && old != descriptor.get());
    const int kept = descriptor.get();
    const Descriptor other(descriptor.release());
    EXPECT_FALSE(descriptor);
    EXPECT_EQ(other.get(), kept);
    EXPECT_TRUE(isOpen(kept));
}

TEST(Utf8Test, ACharacterHasItsValueAndItsBytes)
{
    const struct {
        const char* text;
        std::uint32_t value;
        std::size_t bytes;
    } cases[] = {{"a", 'a', 1}, {"äb", 0xE4, 2}, {"服b", 0x670D, 3}, {"\U0001F600b", 0x1F600, 4}};
    for (const auto& one : cases) {
        const Utf8Character first = firstCharacter(one.text);
        EXPECT_TRUE(first.valid);
        EXPECT_EQ(first.value, one.value);
        EXPECT_EQ(first.bytes, one.bytes);
    }
}

TEST(Utf8Test, WhatIsNoCharacterIsOneByte)
{
    // A stray byte, a cut character, a long form, a surrogate, one beyond the last.
    for (const char* text : {"\x9B"
                             "a",
                             "\xE2\x82", "\xC0\x8A", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"}) {
        EXPECT_FALSE(firstCharacter(text).valid) << text;
        EXPECT_EQ(firstCharacter(text).bytes, 1U) << text;
    }
}

TEST(NearestWordTest, TheOneWithTheLeastDifferencesWinsAndAStrangerHasNone)
{
    const std::vector<std::string> words = {"STARTVPN", "STOPVPN", "Online", "Offline"};
    EXPECT_EQ(nearestWord("startvpn", words), "STARTVPN");
    EXPECT_EQ(nearestWord("STRATVPN", words), "STARTVPN");
    EXPECT_EQ(nearestWord("STOPPVPN", words), "STOPVPN");
    EXPECT_EQ(nearestWord("Ofline", words), "Offline");
    EXPECT_EQ(nearestWord("onlin", words), "Online");
    EXPECT_EQ(nearestWord("hunter22", words), "");
    EXPECT_EQ(nearestWord("", words), "");
    EXPECT_EQ(nearestWord(std::string(100000, 'x'), words), "");
    EXPECT_EQ(nearestWord("x", {}), "");
}

TEST(ReadFileTest, AFileIsReadToItsEndUpToTheLimit)
{
    const std::string name = ::testing::TempDir() + "read_file_test_" + std::to_string(::getpid());
    std::ofstream(name, std::ios::binary) << std::string(10000, 'x');
    EXPECT_EQ(readFile(name, 10000).bytes, std::vector<unsigned char>(10000, 'x'));
    EXPECT_EQ(readFile(name, 10000).problem, "");
    EXPECT_EQ(readFile(name, 10000).status.st_size, 10000);
    const FileContent larger = readFile(name, 9999);
    EXPECT_EQ(larger.problem, "larger than 9999 bytes");
    EXPECT_TRUE(larger.bytes.empty());
    std::ofstream(name, std::ios::binary | std::ios::trunc);
    EXPECT_TRUE(readFile(name, 0).bytes.empty());
    EXPECT_EQ(readFile(name, 0).problem, "");
    ::unlink(name.c_str());
    EXPECT_EQ(readFile(name, 10000).problem, "No such file or directory");
    EXPECT_EQ(readFile(name, 10000).error, ENOENT);
}

TEST(ReadFileTest, AFileWithoutASizeIsReadToItsEndTooUpToTheLimit)
{
    const FileContent all = readFile("/proc/version", 1024 * 1024);
    EXPECT_EQ(all.problem, "");
    EXPECT_EQ(all.status.st_size, 0);
    EXPECT_GT(all.bytes.size(), 10U);
    EXPECT_EQ(readFile("/proc/version", 10).problem, "larger than 10 bytes");
}

TEST(ReadFileTest, NothingIsAllocatedForAFileBeyondTheLimit)
{
    const std::string name = ::testing::TempDir() + "read_file_huge_" + std::to_string(::getpid());
    const Descriptor file(::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    // No memory has as much room, and the disk needs none.
    const int error = ::ftruncate64(file.get(), off64_t{1} << 40);
    // On a panel it is already too large to be opened.
    EXPECT_NE(readFile(name, 100).problem, "");
    ::unlink(name.c_str());
    ASSERT_EQ(error, 0);
}

TEST(ReadFileTest, WhatIsNoRegularFileIsRefusedAtOnce)
{
    EXPECT_EQ(readFile("/", 100).problem, "no regular file");
    EXPECT_EQ(readFile("/dev/zero", 100).problem, "no regular file");
    const std::string name = ::testing::TempDir() + "read_file_pipe_" + std::to_string(::getpid());
    ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
    EXPECT_EQ(readFile(name, 100).problem, "no regular file");
    ::unlink(name.c_str());
}

}  // namespace
}  // namespace common
