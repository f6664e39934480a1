#include "host/HostInterface.h"
#include "host/StatusCodes.h"
#include "tests/scripted/FakeHost.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// The driver that was built over tests/seam/platform, whose service lives in memory and
// answers the same to every call. This program knows none of its classes.
namespace
{

using Published = std::vector<std::pair<int, scripted::FakeRtdb::Value>>;

class SeamTest : public testing::Test
{
protected:
    SeamTest()
    {
        const char* const path = std::getenv("ORVA_SEAM_DRIVER");
        if (path == nullptr) throw std::runtime_error("ORVA_SEAM_DRIVER must name the library");
        m_library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (m_library == nullptr) throw std::runtime_error(dlerror());
        m_destroy = reinterpret_cast<decltype(m_destroy)>(dlsym(m_library, "DestroyDeviceCtrl"));
        const auto create =
            reinterpret_cast<decltype(&CreateDeviceCtrl)>(dlsym(m_library, "CreateDeviceCtrl"));
        if (create == nullptr || m_destroy == nullptr) throw std::runtime_error("export missing");
        m_host.declareChannels();
        m_device = create("VPN_1", &m_host);
        const unsigned char blob[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
        if (m_device->InitDevice(blob, sizeof blob) != kStatusOk) {
            throw std::runtime_error("InitDevice");
        }
    }
    ~SeamTest() override
    {
        m_device->CleanupDevice();
        m_destroy(m_device);
        dlclose(m_library);
    }

    int collect()
    {
        m_host.published.clear();
        const std::vector<int> wanted(10, 1);
        return m_device->CollectDevData(wanted.data(), 10);
    }
    // Runs a command whose last argument is r; its code, and r behind it.
    std::pair<int, int> run(const char* command)
    {
        m_host.variables["r"] = -77;
        const int code = m_device->DevIOCtrl(command);
        return {code, std::get<int>(m_host.variables["r"])};
    }
    int writeText(int channel, std::string text)
    {
        return m_device->WriteChannel(channel - 1, DATATYPE_STRING, text.data());
    }

    scripted::FakeRtdb m_host;
    IDeviceCtrl* m_device = nullptr;

private:
    void* m_library = nullptr;
    decltype(&DestroyDeviceCtrl) m_destroy = nullptr;
};

TEST_F(SeamTest, ACyclePublishesWhatTheOtherPlatformsServiceSays)
{
    EXPECT_EQ(collect(), kResultOk);
    const Published expected = {{0, "vpn.example.com"},
                                {1, 1194},
                                {2, "10.8.0.7"},
                                {3, 30},
                                {4, "panel-7"},
                                {5, 1},
                                {6, 5},
                                {7, "SN-0042"},
                                {8, "abc123"},
                                {9, "lineoperator"}};
    EXPECT_EQ(m_host.published, expected);
}

TEST_F(SeamTest, CommandsCarryTheirArgumentsAndBringTheAnswerBack)
{
    m_host.variables["a"] = std::string("10.0.0.1");
    m_host.variables["p"] = 1194;
    EXPECT_EQ(run(" startvpn ( a , p , r ) "), (std::pair{kResultOk, 0}));
    m_host.variables["a"] = std::string("10.0.0.2");
    EXPECT_EQ(run("STARTVPN(a,p,r)"), (std::pair{kResultNotNow, 2}));
    EXPECT_EQ(run("STARTVPN(10.0.0.2,1194,r)"), (std::pair{kResultNotNow, 2})) << "no variables";
    EXPECT_EQ(run("GetVPNPasswd(a,r)"), (std::pair{kResultOk, 0}));
    EXPECT_EQ(m_host.variables["a"], scripted::FakeRtdb::Value("abc123"));
}

TEST_F(SeamTest, ChannelWritesReachTheService)
{
    EXPECT_EQ(writeText(10, "otheroperator"), kResultOk);
    EXPECT_EQ(writeText(10, "lineoperator"), kResultBadCommand);
    EXPECT_EQ(writeText(1, "10.0.0.1"), kResultRefused);
}

TEST_F(SeamTest, AFailureOfTheOtherPlatformPrintsItsTextsAndTheNextCycleIsGood)
{
    m_host.variables["sn"] = std::string("fail");
    testing::internal::CaptureStdout();
    EXPECT_EQ(run("SETDEVICESN(sn,r)"), (std::pair{kResultNoService, -77}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "mfDevIOCtrl[293] failed with: answer-told to fail\n");
    EXPECT_EQ(collect(), kResultOk);
    EXPECT_EQ(m_host.published.size(), 10U);
}

TEST_F(SeamTest, AReplyOfTheWrongTypeEndsAsTheDriversOwnFailure)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(run("STOPVPN(r)"), (std::pair{kResultNoService, -77}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "mfDevIOCtrl[293] failed with: GeneratedUnpack-deserialize failed\n");
}

TEST_F(SeamTest, TheNameThatTheHostScribblesOnStandsWhereItStoodInEachCall)
{
    scripted::FakeCommunication communication;
    ASSERT_EQ(m_device->UpdataCommunication(&communication), kStatusOk);
    for (int i = 0; i < 3; ++i) m_device->DevIOCtrl("NONE()");
    EXPECT_EQ(communication.devices, std::vector<std::string>(3, communication.devices[0]));
    EXPECT_NE(communication.devices[0], "");
    EXPECT_EQ(communication.buffers, std::vector<char*>(3, communication.buffers[0]));
}

}  // namespace
