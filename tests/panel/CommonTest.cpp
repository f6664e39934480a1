#include "common/Descriptor.h"
#include "common/Utf8.h"

#include <fcntl.h>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace common
