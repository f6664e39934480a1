#include "support/OwnerArchive.h"
#include "tests/host/HostFixture.h"

#include <cstdlib>
#include <new>

namespace
{
// Makes the next non-throwing allocation fail; only the archive is allocated that way.
bool failNextNothrow = false;
// Makes the throwing allocation with this number, counted from now, fail; -1 for none.
int failThrowing = -1;
}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (failNextNothrow) {
        failNextNothrow = false;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

// The counterparts that let malloc'ed memory come back through either form. Never inlined:
// a compiler that sees into one of a pair and not into the other takes them for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (failThrowing >= 0 && failThrowing-- == 0) throw std::bad_alloc();
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

class InitDeviceTest : public HostTest
{
protected:
    int initWith(const std::vector<unsigned char>& blob)
    {
        return m_device.InitDevice(blob.data(), static_cast<int>(blob.size()));
    }
};

TEST_F(InitDeviceTest, GoodConfigurationSetsTheHighestChannelAndLeavesNoArchive)
{
    EXPECT_EQ(initWith({0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0}), 0);
    EXPECT_EQ(m_device.m_data.pArchive, nullptr);
    EXPECT_EQ(m_device.m_data.pDevData->nMaxChannel, 10);
    EXPECT_FALSE(m_device.m_data.pDevData->bNoConfig);
    EXPECT_EQ(service().connectionsAlive, 0) << "no connection is made yet";
}

TEST_F(InitDeviceTest, OtherVersionFailsOnceAndLeavesNoArchive)
{
    EXPECT_EQ(initWith({0x24, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0}), kStatusFailed);
    EXPECT_EQ(m_device.m_data.pArchive, nullptr);
    ASSERT_NE(m_device.m_data.pDevData, nullptr);
    EXPECT_EQ(m_device.m_data.pDevData->nMaxChannel, 6);

    for (const std::vector<unsigned char>& second :
         {std::vector<unsigned char>{0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0},
          std::vector<unsigned char>{0x24, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0},
          std::vector<unsigned char>{}}) {
        EXPECT_EQ(initWith(second), 0) << "the record is there already";
        EXPECT_EQ(m_device.m_data.pDevData->nMaxChannel, 6) << "and nothing is read";
        EXPECT_FALSE(m_device.m_data.pDevData->bNoConfig);
    }
}

TEST_F(InitDeviceTest, RepeatedInitialisationKeepsTheFirst)
{
    init();
    const DEV_DATA* first = m_device.m_data.pDevData;
    EXPECT_EQ(initWith({0x23, 0x4E, 0, 0, 0, 0, 3, 0, 0, 0}), 0);
    EXPECT_EQ(m_device.m_data.pDevData, first);
    EXPECT_EQ(first->nMaxChannel, 10);
}

TEST_F(InitDeviceTest, EmptyBlobMeansNoConfiguration)
{
    const unsigned char byte = 0x23;
    struct Row {
        const unsigned char* data;
        int length;
    };
    for (const Row& row : {Row{&byte, 0}, Row{nullptr, 0}, Row{nullptr, 10}, Row{&byte, -1}}) {
        EXPECT_EQ(m_device.InitDevice(row.data, row.length), 0);
        EXPECT_TRUE(m_device.m_data.pDevData->bNoConfig) << row.length;
        EXPECT_EQ(m_device.m_data.pDevData->nMaxChannel, 6);
        m_device.CleanupDevice();
    }
}

TEST_F(InitDeviceTest, ShortBlobReadsTheZerosBehindIt)
{
    EXPECT_EQ(initWith({0x23, 0x4E}), 0);
    EXPECT_EQ(m_device.m_data.pDevData->nMaxChannel, 0);
    m_device.CleanupDevice();
    EXPECT_EQ(initWith({0x23, 0x4E, 0, 0, 0, 0, 10}), 0);
    EXPECT_EQ(m_device.m_data.pDevData->nMaxChannel, 10);
    m_device.CleanupDevice();
    EXPECT_EQ(initWith({0x23}), kStatusFailed) << "version 0x0023";
}

TEST_F(InitDeviceTest, ArchiveThatCanNotBeAllocatedIsNoFailure)
{
    failNextNothrow = true;
    EXPECT_EQ(initWith({0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0}), 0);
    EXPECT_FALSE(failNextNothrow);
    EXPECT_EQ(m_device.m_data.pArchive, nullptr);
    EXPECT_EQ(m_device.m_data.pDevData, nullptr);
}

TEST_F(InitDeviceTest, CleanupFreesTheStateAndMayBeRepeated)
{
    service().answersAll();
    init();
    collectAll();
    EXPECT_EQ(service().connectionsAlive, 1);
    EXPECT_EQ(m_device.CleanupDevice(), 0);
    EXPECT_EQ(service().connectionsAlive, 0);
    EXPECT_EQ(m_device.m_data.pDevData, nullptr);
    EXPECT_EQ(m_device.CleanupDevice(), 0);
}

TEST_F(InitDeviceTest, MemoryThatRunsOutIsAFailureThatLeavesNoArchive)
{
    const std::vector<unsigned char> blob{0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
    failThrowing = 0;
    EXPECT_EQ(initWith(blob), kStatusFailed);
    EXPECT_EQ(failThrowing, -1);
    EXPECT_EQ(m_device.m_data.pArchive, nullptr);
    EXPECT_EQ(initWith(blob), 0);
}

TEST_F(InitDeviceTest, ArraysThatWereNotAllSizedAreSizedByTheNextCollection)
{
    init();
    service().answersAll();
    const int wanted[] = {1, 1, 1};
    for (int array = 0; array < 3; ++array) {
        OpenDevCtrl device("VPN_1", &m_host);
        failThrowing = array;
        EXPECT_EQ(device.ChannelRefChange(wanted, 3), kStatusFailed);
        EXPECT_EQ(device.m_nChannelCount, -1) << array;
        failThrowing = -1;
        EXPECT_EQ(device.ChannelRefChange(wanted, 3), 0);
        EXPECT_EQ(device.m_arrFlags.GetSize(), 4);
    }
}

TEST_F(InitDeviceTest, CleanupDeletesAnArchiveThatIsStillThere)
{
    m_device.m_data.pArchive = new COwnerArchive(ARCHIVE_STORING);
    EXPECT_EQ(m_device.CleanupDevice(), 0);
    EXPECT_EQ(m_device.m_data.pArchive, nullptr);
}
