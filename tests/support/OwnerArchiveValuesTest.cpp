#include "support/OwnerArchive.h"

#include "tests/support/Bytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace
{

// What an operator writes into a new archive.
template <class T>
Bytes written(T value)
{
    COwnerArchive archive(ARCHIVE_STORING);
    EXPECT_EQ(&(archive << value), &archive);
    CByteArray bytes;
    bytes.SetSize(archive.SvrGetBufferSize());
    archive.SvrSeekToBegin();
    EXPECT_EQ(archive.SvrRead(bytes), 1);
    return bytesOf(bytes);
}

// Loads exactly these bytes.
class Loading : public COwnerArchive
{
public:
    explicit Loading(const Bytes& content) : COwnerArchive(static_cast<ARCHIVESTATUS>(2))
    {
        CByteArray bytes;
        fill(bytes, content);
        SvrWrite(bytes);
        SvrChangeMode(ARCHIVE_LOADING);
        SvrSeekToBegin();
    }

    template <class T>
    T get(T preset)
    {
        EXPECT_EQ(&(*this >> preset), this);
        return preset;
    }
};

TEST(OwnerArchiveValuesTest, OneByteTypes)
{
    EXPECT_EQ(written('\xFE'), (Bytes{0xFE}));
    EXPECT_EQ(written(static_cast<unsigned char>(0x80)), (Bytes{0x80}));
    EXPECT_EQ(written(true), (Bytes{1}));
    EXPECT_EQ(written(false), (Bytes{0}));
    Loading archive({0xFE, 0x80});
    EXPECT_EQ(archive.get('\0'), '\xFE');
    EXPECT_EQ(archive.get(static_cast<unsigned char>(0)), 0x80);
    EXPECT_EQ(archive.get('q'), 'q');
    EXPECT_EQ(archive.get(static_cast<unsigned char>(7)), 7);
}

TEST(OwnerArchiveValuesTest, OnlyTheByteOneReadsAsTrue)
{
    Loading archive({1, 2, 0, 255});
    EXPECT_TRUE(archive.get(false));
    EXPECT_FALSE(archive.get(true));
    EXPECT_FALSE(archive.get(true));
    EXPECT_FALSE(archive.get(true));
    EXPECT_FALSE(archive.get(true));  // nothing left
    EXPECT_TRUE(archive.IsBufferEnd());
}

TEST(OwnerArchiveValuesTest, TwoByteType)
{
    EXPECT_EQ(written(static_cast<unsigned short>(20003)), (Bytes{0x23, 0x4E}));
    Loading archive({0xFF, 0xFE, 1});
    EXPECT_EQ(archive.get(static_cast<unsigned short>(0)), 0xFEFF);
    EXPECT_EQ(archive.get(static_cast<unsigned short>(5)), 5);
    EXPECT_EQ(archive.SvrGetBufferSize(), 2);
}

TEST(OwnerArchiveValuesTest, FourByteTypes)
{
    EXPECT_EQ(written(0x01020304), (Bytes{4, 3, 2, 1}));
    EXPECT_EQ(written(-2), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(written(0x80000001U), (Bytes{1, 0, 0, 0x80}));
    EXPECT_EQ(written(1.0F), (Bytes{0, 0, 0x80, 0x3F}));
    Loading archive({0xFE, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0x80, 0, 0, 0x80, 0x3F});
    EXPECT_EQ(archive.get(0), -2);
    EXPECT_EQ(archive.get(0U), 0x80000001U);
    EXPECT_EQ(archive.get(0.0F), 1.0F);
}

TEST(OwnerArchiveValuesTest, LongIsFourBytesOnEveryProcessor)
{
    EXPECT_EQ(written(-2L), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    Loading archive({0xFE, 0xFF, 0xFF, 0xFF, 1, 0, 0});
    EXPECT_EQ(archive.get(std::numeric_limits<long>::max()), -2L);
    // The whole target stays when there are too few bytes.
    EXPECT_EQ(archive.get(std::numeric_limits<long>::min()), std::numeric_limits<long>::min());
}

TEST(OwnerArchiveValuesTest, DoubleIsLowByteFirst)
{
    EXPECT_EQ(written(1.0), (Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
    Loading archive({0, 0, 0, 0, 0, 0, 0x04, 0xC0, 1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(archive.get(0.0), -2.5);
    EXPECT_EQ(archive.get(7.0), 7.0);
    EXPECT_EQ(archive.SvrGetBufferSize(), 8);
}

TEST(OwnerArchiveValuesTest, ThreeBytesAreNoIntAndLeaveTargetAndCursor)
{
    Loading archive({1, 2, 3});
    EXPECT_EQ(archive.get(77), 77);
    EXPECT_EQ(archive.get(77U), 77U);
    EXPECT_EQ(archive.get(7.5F), 7.5F);
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
}

TEST(OwnerArchiveValuesTest, TextIsCountAndBytes)
{
    CString text("abc");
    EXPECT_EQ(written<CString&>(text), (Bytes{3, 0, 0, 0, 'a', 'b', 'c'}));
    CString empty;
    EXPECT_EQ(written<CString&>(empty), (Bytes{0, 0, 0, 0}));
    Loading archive({3, 0, 0, 0, 'a', 'b', 'c', 9});
    CString target("old");
    archive >> target;
    EXPECT_EQ(target, "abc");
    EXPECT_EQ(archive.SvrGetBufferSize(), 7);
}

TEST(OwnerArchiveValuesTest, TextIsCutAtAZeroByteOnBothSides)
{
    CString text("a\0b", 3);
    EXPECT_EQ(written<CString&>(text), (Bytes{1, 0, 0, 0, 'a'}));
    Loading archive({3, 0, 0, 0, 'a', 0, 'b'});
    CString target;
    archive >> target;
    EXPECT_EQ(textOf(target), "a");
    EXPECT_TRUE(archive.IsBufferEnd());
}

TEST(OwnerArchiveValuesTest, TextWithACountBeyondTheRestIsEmptyAndTheCountConsumed)
{
    for (int highByte : {0x00, 0x7F, 0x80, 0xFF}) {
        Loading archive({4, 0, 0, highByte, 'a', 'b', 'c'});
        CString target("old");
        archive >> target;
        EXPECT_EQ(target, "");
        EXPECT_EQ(archive.SvrGetBufferSize(), 4);
    }
}

TEST(OwnerArchiveValuesTest, TextWithoutCountIsEmpty)
{
    Loading archive({1, 0, 0});
    CString target("old");
    archive >> target;
    EXPECT_EQ(target, "");
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
}

TEST(OwnerArchiveValuesTest, ValuesStandSideBySideWithoutTagsOrPadding)
{
    COwnerArchive archive(ARCHIVE_STORING);
    CString text("x");
    archive << 'a' << 1.0 << static_cast<unsigned short>(2) << text << true << 3;
    EXPECT_EQ(archive.SvrGetBufferSize(), 1 + 8 + 2 + 5 + 1 + 4);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    archive.SvrSeekToBegin();
    char c = 0;
    double d = 0;
    unsigned short s = 0;
    CString t;
    bool b = false;
    int i = 0;
    archive >> c >> d >> s >> t >> b >> i;
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(d, 1.0);
    EXPECT_EQ(s, 2);
    EXPECT_EQ(t, "x");
    EXPECT_TRUE(b);
    EXPECT_EQ(i, 3);
    EXPECT_TRUE(archive.IsBufferEnd());
}

TEST(OwnerArchiveValuesTest, BitPatternsOfNumbersSurvive)
{
    const std::uint32_t floatBits = 0xFFC12345U;
    const std::uint64_t doubleBits = 0x8000000000000001U;
    float single = 0;
    double number = 0;
    std::memcpy(&single, &floatBits, sizeof single);
    std::memcpy(&number, &doubleBits, sizeof number);
    EXPECT_EQ(written(single), (Bytes{0x45, 0x23, 0xC1, 0xFF}));
    EXPECT_EQ(written(number), (Bytes{1, 0, 0, 0, 0, 0, 0, 0x80}));
}

class Point : public COwnerObject
{
public:
    void Serialize(COwnerArchive& archive) override
    {
        if (archive.IsStoring()) {
            archive << x << y;
        } else {
            archive >> x >> y;
        }
    }
    int x = 0;
    int y = 0;
};

TEST(OwnerArchiveValuesTest, ObjectsChooseTheDirectionByTheMode)
{
    COwnerArchive archive(ARCHIVE_LOADING);
    Point out;
    out.x = 5;
    out.y = -6;
    EXPECT_EQ(&(archive << out), &archive);
    EXPECT_TRUE(archive.IsStoring());
    EXPECT_EQ(archive.SvrGetBufferSize(), 10);  // with the header of the mode change
    Point in;
    EXPECT_EQ(&(archive >> in), &archive);
    EXPECT_FALSE(archive.IsStoring());
    EXPECT_EQ(in.x, 5);
    EXPECT_EQ(in.y, -6);
    EXPECT_TRUE(archive.IsBufferEnd());
}

TEST(OwnerArchiveValuesTest, BaseObjectHasNoFields)
{
    COwnerArchive archive(ARCHIVE_STORING);
    COwnerObject object;
    archive << object;
    EXPECT_EQ(archive.SvrGetBufferSize(), 2);
}

}  // namespace
