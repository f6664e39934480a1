#include "support/OwnerArchive.h"
#include "tests/device/DeviceFixture.h"

#include <memory>

class InitTest : public DeviceTest
{
protected:
    // Opens the blob as the driver object does.
    void load(const std::string& blob)
    {
        m_archive = std::make_unique<COwnerArchive>(ARCHIVE_STORING);
        m_archive->SvrWrite(reinterpret_cast<const unsigned char*>(blob.data()),
                            static_cast<int>(blob.size()));
        m_archive->SvrSeekToBegin();
        m_archive->SvrChangeMode(ARCHIVE_LOADING);
        m_data.pArchive = m_archive.get();
    }
    static std::string blob(int version, int properties, int maxChannel)
    {
        const std::string head{static_cast<char>(version & 0xff), static_cast<char>(version >> 8)};
        return head + scripted::encoded(properties) + scripted::encoded(maxChannel);
    }

    std::unique_ptr<COwnerArchive> m_archive;
};

TEST_F(InitTest, EmptyBlobSetsNoConfigAndKeepsSixChannels)
{
    load("");
    EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
    EXPECT_TRUE(m_data.pDevData->bNoConfig);
    EXPECT_EQ(m_data.pDevData->nMaxChannel, 6);
    EXPECT_EQ(m_data.pDevData->dLastValue, -1.0);
    EXPECT_EQ(m_data.pDevData->pDispatchClient, nullptr);
}

TEST_F(InitTest, MissingArchiveCountsAsEmpty)
{
    EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
    EXPECT_TRUE(m_data.pDevData->bNoConfig);
}

TEST_F(InitTest, HighestChannelIsReadWhateverThePropertyCount)
{
    for (const int properties : {0, 5, -1, 2147483647}) {
        load(blob(20003, properties, 10));
        EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
        EXPECT_EQ(m_data.pDevData->nMaxChannel, 10) << properties;
        EXPECT_FALSE(m_data.pDevData->bNoConfig);
        orva_device::SvrExitDevRun(m_data);
    }
}

TEST_F(InitTest, HighestChannelIsTakenAsItStands)
{
    for (const int maxChannel : {0, -1, 11, 2147483647}) {
        load(blob(20003, 0, maxChannel));
        EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
        EXPECT_EQ(m_data.pDevData->nMaxChannel, maxChannel);
        orva_device::SvrExitDevRun(m_data);
    }
}

TEST_F(InitTest, TrailingBytesAreIgnored)
{
    load(blob(20003, 0, 9) + "more");
    EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
    EXPECT_EQ(m_data.pDevData->nMaxChannel, 9);
}

TEST_F(InitTest, ShortBlobReadsTheZerosBehindIt)
{
    load("\x23\x4E");
    EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
    EXPECT_EQ(m_data.pDevData->nMaxChannel, 0);
    orva_device::SvrExitDevRun(m_data);

    load(std::string("\x23\x4E\0\0\0\0\x0A", 7));
    EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
    EXPECT_EQ(m_data.pDevData->nMaxChannel, 10);
}

TEST_F(InitTest, ArchiveThatIsStillStoringIsSwitchedToLoading)
{
    COwnerArchive archive(ARCHIVE_STORING);
    archive.SvrChangeMode(ARCHIVE_STORING);
    archive << 0;
    archive << 10;
    m_data.pArchive = &archive;
    EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
    EXPECT_EQ(m_data.pDevData->nMaxChannel, 10);
    m_data.pArchive = nullptr;
}

TEST_F(InitTest, OtherVersionFailsOnceAndLeavesTheDefaults)
{
    for (const int version : {20002, 20004, 10000, 0}) {
        load(blob(version, 0, 10));
        EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), -1) << version;
        ASSERT_NE(m_data.pDevData, nullptr);
        EXPECT_EQ(m_data.pDevData->nMaxChannel, 6);
        EXPECT_FALSE(m_data.pDevData->bNoConfig);

        load(blob(20003, 0, 10));
        EXPECT_EQ(CDevBas::mfCheckDevDataInit(m_data), 0);
        EXPECT_EQ(m_data.pDevData->nMaxChannel, 6) << "read though there was a record";
        orva_device::SvrExitDevRun(m_data);
    }
}

TEST_F(InitTest, DefaultPropertiesNeedARecord)
{
    EXPECT_EQ(CDevBas::_SetDefaultProperty(m_data), 1);
}

TEST_F(InitTest, DefaultPropertiesFreeAndClearTheStores)
{
    DEV_DATA& data = record();
    data.arrPropInt.pData = new int[3];
    data.arrPropInt.nSize = data.arrPropInt.nCapacity = 3;
    data.arrPropAux.pData = new int[2];
    data.arrPropAux.nSize = data.arrPropAux.nCapacity = 2;
    data.vecPropStrings = {"a", "b"};
    EXPECT_EQ(CDevBas::_SetDefaultProperty(m_data), 0);
    EXPECT_EQ(data.arrPropInt.pData, nullptr);
    EXPECT_EQ(data.arrPropInt.nSize, 0);
    EXPECT_EQ(data.arrPropInt.nCapacity, 0);
    EXPECT_EQ(data.arrPropAux.pData, nullptr);
    EXPECT_EQ(data.arrPropAux.nSize, 0);
    EXPECT_EQ(data.arrPropAux.nCapacity, 0);
    EXPECT_TRUE(data.vecPropStrings.empty());
    EXPECT_GE(data.vecPropStrings.capacity(), 2u) << "the storage is kept";
}

TEST_F(InitTest, Utf8StringsNeedAnArchive)
{
    std::string text = "kept";
    EXPECT_EQ(CDevBas::_DeserializeUtf8String(m_data, text), 1);
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(CDevBas::_SerializeUtf8String(m_data, text), 1);
}

TEST_F(InitTest, Utf8StringIsByteCountThenBytes)
{
    COwnerArchive archive(ARCHIVE_STORING);
    m_data.pArchive = &archive;
    const std::string written = std::string("a\0\xE6\x9C\x8D", 5) + std::string(295, 'x');
    EXPECT_EQ(CDevBas::_SerializeUtf8String(m_data, written), 0);
    EXPECT_EQ(archive.SvrGetBufferSize(), 304);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    std::string read;
    EXPECT_EQ(CDevBas::_DeserializeUtf8String(m_data, read), 0);
    EXPECT_EQ(read, written);
    m_data.pArchive = nullptr;
}

TEST_F(InitTest, EmptyUtf8StringIsReadAsOne)
{
    COwnerArchive archive(ARCHIVE_STORING);
    m_data.pArchive = &archive;
    EXPECT_EQ(CDevBas::_SerializeUtf8String(m_data, ""), 0);
    archive << 7;
    EXPECT_EQ(archive.SvrGetBufferSize(), 8);
    archive.SvrChangeMode(ARCHIVE_LOADING);
    std::string text = "old";
    EXPECT_EQ(CDevBas::_DeserializeUtf8String(m_data, text), 0);
    EXPECT_EQ(text, "");
    int next = 0;
    archive >> next;
    EXPECT_EQ(next, 7) << "what follows is not touched";
    m_data.pArchive = nullptr;
}

TEST_F(InitTest, UnusableStringLengthLeavesTheTextUntouched)
{
    for (const int length : {-1, -2147483647 - 1, 2147483647, 16 * 1024 * 1024 + 1}) {
        COwnerArchive archive(ARCHIVE_STORING);
        m_data.pArchive = &archive;
        archive.SvrChangeMode(ARCHIVE_STORING);
        archive << length;
        archive << 0;
        archive.SvrChangeMode(ARCHIVE_LOADING);
        std::string text = "kept";
        EXPECT_EQ(CDevBas::_DeserializeUtf8String(m_data, text), 1) << length;
        EXPECT_EQ(text, "kept");
    }
    m_data.pArchive = nullptr;
}
