#include "support/OwnerArchive.h"

#include "tests/support/Bytes.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

constexpr auto kOtherMode = static_cast<ARCHIVESTATUS>(7);

// An archive that was built as the driver object builds it from a stored blob.
struct BlobArchive : COwnerArchive {
    explicit BlobArchive(const Bytes& blob) : COwnerArchive(ARCHIVE_STORING)
    {
        const std::string bytes(blob.begin(), blob.end());
        Write(bytes.data(), static_cast<int>(bytes.size()));
        SvrSeekToBegin();
        SvrChangeMode(ARCHIVE_LOADING);
    }
};

// An archive whose buffer is exactly these bytes, loading, at position 0, without a look for a
// header.
struct LoadingArchive : COwnerArchive {
    explicit LoadingArchive(const Bytes& content) : COwnerArchive(kOtherMode)
    {
        CByteArray bytes;
        fill(bytes, content);
        SvrWrite(bytes);
        SvrChangeMode(ARCHIVE_LOADING);
        SvrSeekToBegin();
    }
};

Bytes content(COwnerArchive& archive, int count)
{
    CByteArray bytes;
    bytes.SetSize(count);
    archive.SvrSeekToBegin();
    EXPECT_EQ(archive.SvrRead(bytes), 1);
    return bytesOf(bytes);
}

void write(COwnerArchive& archive, int count, char byte = 'x')
{
    const std::string bytes(static_cast<std::size_t>(count), byte);
    archive.Write(bytes.data(), count);
}

TEST(OwnerArchiveTest, IsEmptyWithoutHeaderWhenNew)
{
    COwnerArchive archive(ARCHIVE_STORING);
    EXPECT_TRUE(archive.IsStoring());
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 0);
    EXPECT_TRUE(archive.IsBufferEnd());
    EXPECT_FALSE(COwnerArchive(ARCHIVE_LOADING).IsStoring());
    EXPECT_FALSE(COwnerArchive(kOtherMode).IsStoring());
}

TEST(OwnerArchiveTest, TenRawBytesGrowTheBufferByOneStepWithoutHeader)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 10);
    EXPECT_EQ(archive.SvrGetBufferSize(), 10);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 16534);
    EXPECT_FALSE(archive.IsBufferEnd());
    EXPECT_EQ(content(archive, 12), bytesOf(std::string_view("xxxxxxxxxx\0\0", 12)));
}

TEST(OwnerArchiveTest, GrowthStepIs16534Bytes)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 16534);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 16534);
    EXPECT_TRUE(archive.IsBufferEnd());
    write(archive, 1);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 2 * 16534);
    write(archive, 50000);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 66535);
}

TEST(OwnerArchiveTest, StoringAtPositionZeroWritesTheVersion)
{
    COwnerArchive archive(ARCHIVE_STORING);
    archive.SvrChangeMode(ARCHIVE_STORING);
    EXPECT_EQ(archive.SvrGetBufferSize(), 2);
    EXPECT_EQ(content(archive, 3), (Bytes{0x23, 0x4E, 0}));
}

TEST(OwnerArchiveTest, AskingForTheSameModeBehindPositionZeroDoesNothing)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 3, 'A');
    archive.SvrChangeMode(ARCHIVE_STORING);
    EXPECT_EQ(archive.SvrGetBufferSize(), 3);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 16534);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    unsigned char byte = 0;
    archive.SvrRead(&byte, 1);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    EXPECT_EQ(archive.SvrGetBufferSize(), 1);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 3);
}

TEST(OwnerArchiveTest, SwitchingToLoadingTrimsAndSkipsAHeader)
{
    COwnerArchive archive(ARCHIVE_STORING);
    archive.SvrChangeMode(ARCHIVE_STORING);
    write(archive, 98, 'y');
    archive.SvrChangeMode(ARCHIVE_LOADING);
    EXPECT_FALSE(archive.IsStoring());
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 100);
    EXPECT_EQ(archive.SvrGetBufferSize(), 2);
    char next = 0;
    archive >> next;
    EXPECT_EQ(next, 'y');
}

TEST(OwnerArchiveTest, SwitchingToLoadingWithoutHeaderStartsAtZero)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 100, 'A');
    archive.SvrChangeMode(ARCHIVE_LOADING);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 100);
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
}

TEST(OwnerArchiveTest, TakesAFirstValueFrom20000OnAsHeader)
{
    EXPECT_EQ(BlobArchive({0x10, 0x27, 1, 2}).SvrGetBufferSize(), 0);  // 10000
    EXPECT_EQ(BlobArchive({0x1F, 0x4E, 1, 2}).SvrGetBufferSize(), 0);  // 19999
    EXPECT_EQ(BlobArchive({0x20, 0x4E, 1, 2}).SvrGetBufferSize(), 2);  // 20000
    EXPECT_EQ(BlobArchive({0xFF, 0xFF, 1, 2}).SvrGetBufferSize(), 2);
}

TEST(OwnerArchiveTest, AskingForLoadingAtPositionZeroReadsTheHeaderAgain)
{
    BlobArchive archive({0x23, 0x4E, 5});
    archive.SvrSeekToBegin();
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    EXPECT_EQ(archive.SvrGetBufferSize(), 2);
}

TEST(OwnerArchiveTest, RewindingBeforeLoadingKeepsTheGrowthSlack)
{
    BlobArchive archive({0x23, 0x4E});
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 16534);
    int behind = 99;
    archive >> behind;
    EXPECT_EQ(behind, 0);
}

TEST(OwnerArchiveTest, ShortBlobReadsTheZerosBehindIt)
{
    BlobArchive archive({0x23, 0x4E, 0, 0, 0, 0, 0x0A});
    int first = 99;
    int second = 99;
    archive >> first >> second;
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 10);
}

TEST(OwnerArchiveTest, EmptyBlobLeavesTheBufferEmptyAndOneByteFillsAStep)
{
    EXPECT_EQ(BlobArchive({}).SvrGetRealBufferSize(), 0);
    EXPECT_EQ(BlobArchive({7}).SvrGetRealBufferSize(), 16534);
}

TEST(OwnerArchiveTest, OtherModesGrowButNeverSwitch)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 3);
    archive.SvrChangeMode(kOtherMode);
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 3);
    EXPECT_FALSE(archive.IsStoring());
    unsigned char bytes[8] = {};
    EXPECT_EQ(archive.SvrRead(bytes, 8), 1);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 3 + 16534);
    archive.SvrWrite(bytes, 8);
    EXPECT_EQ(archive.SvrGetBufferSize(), 16);
    archive.SvrSeekToBegin();
    archive.SvrChangeMode(kOtherMode);
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
}

TEST(OwnerArchiveTest, VersionIsReadWithoutMovingTheCursor)
{
    BlobArchive archive({0x23, 0x4E, 1, 0, 0, 0});
    int value = 0;
    archive >> value;
    EXPECT_EQ(archive.GetNowVersion(), 20003);
    EXPECT_EQ(archive.SvrGetBufferSize(), 6);
}

TEST(OwnerArchiveTest, VersionIsUnsigned)
{
    EXPECT_EQ(BlobArchive({0xFF, 0xFF}).GetNowVersion(), 65535);
}

TEST(OwnerArchiveTest, VersionOfAOneByteBuffer)
{
    COwnerArchive trimmed(ARCHIVE_STORING);
    write(trimmed, 1, 5);
    trimmed.SvrChangeMode(ARCHIVE_LOADING);
    EXPECT_EQ(trimmed.SvrGetRealBufferSize(), 1);
    EXPECT_EQ(trimmed.GetNowVersion(), 0);
    EXPECT_EQ(BlobArchive({5}).GetNowVersion(), 5);
}

TEST(OwnerArchiveTest, VersionOfAStoringArchiveIsWhatFollowsTheHeader)
{
    COwnerArchive archive(ARCHIVE_STORING);
    archive.SvrChangeMode(ARCHIVE_STORING);
    archive << static_cast<unsigned short>(0x1234);
    EXPECT_EQ(archive.GetNowVersion(), 0x1234);
    EXPECT_FALSE(archive.IsStoring());
    EXPECT_EQ(archive.SvrGetBufferSize(), 4);
}

TEST(OwnerArchiveTest, RawWriteWhileLoadingTrimsAndStartsAnew)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 20);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    unsigned char bytes[12] = {};
    ASSERT_EQ(archive.SvrRead(bytes, 12 - archive.SvrGetBufferSize()), 1);
    ASSERT_EQ(archive.SvrGetBufferSize(), 12);
    write(archive, 1, 'z');
    EXPECT_TRUE(archive.IsStoring());
    EXPECT_EQ(archive.SvrGetBufferSize(), 3);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 12);
    EXPECT_EQ(content(archive, 4), (Bytes{0x23, 0x4E, 'z', 'x'}));
}

TEST(OwnerArchiveTest, RawReadWhileStoringSwitchesToLoading)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 4, 'A');
    unsigned char bytes[4] = {};
    EXPECT_EQ(archive.SvrRead(bytes, 4), 1);
    EXPECT_FALSE(archive.IsStoring());
    EXPECT_EQ(bytes[3], 'A');
    EXPECT_TRUE(archive.IsBufferEnd());
    EXPECT_EQ(archive.SvrRead(bytes, 1), 0);
    EXPECT_EQ(archive.SvrGetBufferSize(), 4);
}

TEST(OwnerArchiveTest, ReadDropsTheResultOfTheRawRead)
{
    LoadingArchive archive({1, 2});
    unsigned char bytes[3] = {9, 9, 9};
    archive.Read(bytes, 3);
    EXPECT_EQ(bytes[0], 9);
    archive.Read(bytes, 2);
    EXPECT_EQ(bytes[1], 2);
}

TEST(OwnerArchiveTest, ArrayWriteWhileLoadingOverwritesInPlaceOrFails)
{
    LoadingArchive archive({1, 2, 3});
    ByteArray two{8, 9};
    EXPECT_EQ(archive.SvrWrite(two), 1);
    EXPECT_FALSE(archive.IsStoring());
    EXPECT_EQ(archive.SvrWrite(two), 0);
    EXPECT_EQ(archive.SvrGetBufferSize(), 2);
    EXPECT_EQ(content(archive, 3), (Bytes{8, 9, 3}));
}

TEST(OwnerArchiveTest, ArrayReadWhileStoringGrowsAndCopiesWhatLiesThere)
{
    COwnerArchive archive(ARCHIVE_STORING);
    ByteArray target{1, 2, 3};
    EXPECT_EQ(archive.SvrRead(target), 1);
    EXPECT_EQ(bytesOf(target), (Bytes{0, 0, 0}));
    EXPECT_TRUE(archive.IsStoring());
    EXPECT_EQ(archive.SvrGetBufferSize(), 3);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 16534);
}

TEST(OwnerArchiveTest, ArrayReadWhileLoadingNeedsAllItsBytes)
{
    LoadingArchive archive({1, 2, 3});
    ByteArray four{9, 9, 9, 9};
    EXPECT_EQ(archive.SvrRead(four), 0);
    EXPECT_EQ(bytesOf(four), (Bytes{9, 9, 9, 9}));
    ByteArray none{};
    EXPECT_EQ(archive.SvrRead(none), 1);
    EXPECT_EQ(archive.SvrWrite(none), 1);
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
}

TEST(OwnerArchiveTest, ArraysAreTransferredAtThePosition)
{
    for (const auto mode : {ARCHIVE_STORING, kOtherMode}) {
        COwnerArchive archive(mode);
        ByteArray one{1};
        ByteArray three{2, 3, 4};
        EXPECT_EQ(archive.SvrWrite(one), 1);
        EXPECT_EQ(archive.SvrWrite(three), 1);
        EXPECT_EQ(archive.SvrWrite(one), 1);
        EXPECT_EQ(archive.SvrGetBufferSize(), 5);
        EXPECT_EQ(content(archive, 6), (Bytes{1, 2, 3, 4, 1, 0}));
    }
    LoadingArchive archive({1, 2, 3, 4, 5});
    ByteArray one{0};
    ByteArray three{0, 0, 0};
    for (const int expected : {1, 2}) {
        EXPECT_EQ(archive.SvrRead(one), 1);
        EXPECT_EQ(bytesOf(one), Bytes{expected});
    }
    EXPECT_EQ(archive.SvrRead(three), 1);
    EXPECT_EQ(bytesOf(three), (Bytes{3, 4, 5}));
    EXPECT_TRUE(archive.IsBufferEnd());
    EXPECT_EQ(archive.SvrRead(one), 0);
    EXPECT_EQ(bytesOf(one), Bytes{2});
    EXPECT_EQ(archive.SvrWrite(one), 0);
}

TEST(OwnerArchiveTest, BufferCheckGrowsOnlyWhenNotLoading)
{
    COwnerArchive loading(ARCHIVE_LOADING);
    EXPECT_EQ(loading.mfCheckBuffer(0), 1);
    EXPECT_EQ(loading.mfCheckBuffer(1), 0);
    EXPECT_EQ(loading.SvrGetRealBufferSize(), 0);
    COwnerArchive storing(ARCHIVE_STORING);
    EXPECT_EQ(storing.mfCheckBuffer(0), 1);
    EXPECT_EQ(storing.SvrGetRealBufferSize(), 0);
    EXPECT_EQ(storing.mfCheckBuffer(20000), 1);
    EXPECT_EQ(storing.SvrGetRealBufferSize(), 20000);
    EXPECT_EQ(storing.SvrGetBufferSize(), 0);
}

TEST(OwnerArchiveTest, NegativeLengthCopiesNothingAndMovesTheCursor)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 10, 'A');
    archive.Write("abc", -4);
    EXPECT_EQ(archive.SvrGetBufferSize(), 6);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 6);
    unsigned char bytes[8] = {9};
    EXPECT_EQ(archive.SvrRead(bytes, 4), 1);
    EXPECT_EQ(archive.SvrRead(bytes, -3), 1);
    EXPECT_EQ(archive.SvrGetBufferSize(), 1);
}

TEST(OwnerArchiveTest, NothingIsTransferredAtANegativePosition)
{
    LoadingArchive archive({1, 2, 3});
    unsigned char bytes[8] = {9, 9, 9};
    EXPECT_EQ(archive.SvrRead(bytes, -2), 1);
    EXPECT_EQ(archive.SvrGetBufferSize(), -2);
    EXPECT_EQ(archive.SvrRead(bytes, 1), 0);
    ByteArray one{5};
    EXPECT_EQ(archive.SvrRead(one), 0);
    EXPECT_EQ(archive.SvrWrite(one), 0);
    EXPECT_EQ(bytes[0], 9);
    EXPECT_EQ(archive.SvrGetBufferSize(), -2);
    EXPECT_EQ(archive.SvrRead(bytes, 0), 1);
    // The trimming to a negative position leaves nothing.
    archive.SvrChangeMode(ARCHIVE_STORING);
    EXPECT_EQ(archive.SvrGetBufferSize(), 2);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 16534);
    // An empty buffer has no address to count from.
    LoadingArchive empty({});
    ByteArray none{};
    EXPECT_EQ(empty.SvrRead(bytes, -2), 1);
    EXPECT_EQ(empty.SvrRead(none), 1);
    EXPECT_EQ(empty.SvrWrite(none), 1);
    EXPECT_EQ(empty.SvrGetBufferSize(), -2);
    EXPECT_EQ(empty.SvrRead(one), 0);
    EXPECT_EQ(empty.SvrWrite(one), 0);
}

TEST(OwnerArchiveTest, NegativeLengthOfABlobIsAnEmptyBlob)
{
    COwnerArchive archive(ARCHIVE_STORING);
    archive.Write("abc", -5);
    archive.SvrSeekToBegin();
    archive.SvrChangeMode(ARCHIVE_LOADING);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 0);
    EXPECT_EQ(archive.GetNowVersion(), 0);
}

TEST(OwnerArchiveTest, PositionNeverLeaves32Bits)
{
    COwnerArchive archive(ARCHIVE_STORING);
    write(archive, 10);
    EXPECT_EQ(archive.mfCheckBuffer(INT32_MAX), 0);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 16534);
    archive.Write("abc", INT32_MIN);
    archive.Write("abc", INT32_MIN);
    EXPECT_EQ(archive.SvrGetBufferSize(), INT32_MIN + 10);
}

TEST(OwnerArchiveTest, NullDataCountsAsNoData)
{
    COwnerArchive archive(ARCHIVE_STORING);
    archive.Write(nullptr, 5);
    EXPECT_EQ(archive.SvrGetBufferSize(), 0);
    EXPECT_EQ(archive.SvrGetRealBufferSize(), 0);
    LoadingArchive loading({1, 2});
    EXPECT_EQ(loading.SvrRead(nullptr, 2), 1);
    EXPECT_EQ(loading.SvrGetBufferSize(), 0);
}

}  // namespace
