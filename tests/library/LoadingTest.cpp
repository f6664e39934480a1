#include "tests/library/LoadedDriver.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace
{

bool isMapped(const std::string& fileName)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(fileName) != std::string::npos) return true;
    }
    return false;
}

}  // namespace

TEST(LoadingTest, LibraryLoadsInAHostWithoutToolFunctions)
{
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "Orva_GetTickCount"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "watch_dog_report"), nullptr);
    LoadedDriver driver;
    LoadedDevice device(driver);
    EXPECT_EQ(device.collect(), 1) << "no service: and no crash for want of a tick";
    EXPECT_EQ(driver.destroy(nullptr), 1);
}

TEST(LoadingTest, LibraryOffersNothingButItsTwoExports)
{
    void* library = dlopen(ORVA_DRIVER, RTLD_NOW);
    ASSERT_NE(library, nullptr);
    for (const char* name :
         {"DEV_STR_CHLNAMES", "_ZN7CDevBas8initDataEP8DEV_DATA", "_ZTI8CDevCtrl"}) {
        EXPECT_EQ(dlsym(library, name), nullptr) << name;
    }
    dlclose(library);
}

TEST(LoadingTest, LibraryIsReallyUnloadedAHundredTimes)
{
    for (int i = 0; i < 100; ++i) {
        {
            LoadedDriver driver;
            LoadedDevice device(driver);
            ASSERT_EQ(device.collect(), 1);
            ASSERT_EQ(device->DevIOCtrl("REFRESH"), 5);
            char text[] = "x";
            ASSERT_EQ(device->WriteChannel(0, DATATYPE_STRING, text), 4);
            ASSERT_TRUE(isMapped("libdevicevpn.so"));
        }
        ASSERT_FALSE(isMapped("libdevicevpn.so")) << "round " << i;
    }
}

TEST(LoadingTest, TwoCopiesInOneProcessDoNotSeeEachOther)
{
    const std::string copy = testing::TempDir() + "libsecondvpn.so";
    std::filesystem::copy_file(ORVA_DRIVER, copy,
                               std::filesystem::copy_options::overwrite_existing);
    {
        auto first = std::make_unique<LoadedDriver>();
        LoadedDriver second(copy);
        EXPECT_NE(first->create, second.create);
        auto device = std::make_unique<LoadedDevice>(*first);
        LoadedDevice other(second);
        EXPECT_EQ(device->collect(), 1);
        device.reset();
        first.reset();
        EXPECT_FALSE(isMapped("libdevicevpn.so"));
        EXPECT_EQ(other.collect(), 1) << "goes on after the other copy has gone";
        EXPECT_EQ(other->DevIOCtrl("STOPVPN(r)"), 1);
    }
    EXPECT_FALSE(isMapped("libsecondvpn.so"));
    std::filesystem::remove(copy);
}
