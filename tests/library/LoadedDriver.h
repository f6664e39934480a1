#pragma once

#include "host/HostInterface.h"
#include "tests/scripted/FakeHost.h"
#include "tests/service/ChildProcess.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// A copy of the library in this process, entered through its two exports.
class LoadedDriver
{
public:
    explicit LoadedDriver(const std::string& path = ORVA_DRIVER)
        : m_library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        if (m_library == nullptr) throw std::runtime_error(dlerror());
        create = reinterpret_cast<decltype(create)>(dlsym(m_library, "CreateDeviceCtrl"));
        destroy = reinterpret_cast<decltype(destroy)>(dlsym(m_library, "DestroyDeviceCtrl"));
        if (create == nullptr || destroy == nullptr) throw std::runtime_error("export missing");
    }
    ~LoadedDriver() { dlclose(m_library); }
    LoadedDriver(const LoadedDriver&) = delete;
    LoadedDriver& operator=(const LoadedDriver&) = delete;

    decltype(&CreateDeviceCtrl) create = nullptr;
    decltype(&DestroyDeviceCtrl) destroy = nullptr;

private:
    void* m_library;
};

// A device of the loaded driver with ten channels, from CreateDeviceCtrl to DestroyDeviceCtrl.
class LoadedDevice
{
public:
    explicit LoadedDevice(LoadedDriver& driver)
        : m_driver(driver), m_device(driver.create("VPN_1", &host))
    {
        host.declareChannels();
        const unsigned char blob[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
        EXPECT_EQ(m_device->InitDevice(blob, sizeof blob), 0);
    }
    ~LoadedDevice()
    {
        EXPECT_EQ(m_device->CleanupDevice(), 0);
        EXPECT_EQ(m_driver.destroy(m_device), 0);
    }
    LoadedDevice(const LoadedDevice&) = delete;
    LoadedDevice& operator=(const LoadedDevice&) = delete;

    IDeviceCtrl* operator->() { return m_device; }
    // One cycle over all ten channels.
    int collect()
    {
        host.published.clear();
        const std::vector<int> wanted(10, 1);
        return m_device->CollectDevData(wanted.data(), 10);
    }

    scripted::FakeRtdb host;

private:
    LoadedDriver& m_driver;
    IDeviceCtrl* m_device;
};

// The real service as a child, listening when the constructor is done.
class RunningService
{
public:
    RunningService() : m_child(words())
    {
        if (!m_child.waitFor(
                [&] { return m_child.out().find("listening") != std::string::npos; })) {
            throw std::runtime_error("orva-vpnd is not listening: " + m_child.err());
        }
    }

private:
    static std::vector<std::string> words()
    {
        std::istringstream emulator(ORVA_EMULATOR);
        std::vector<std::string> words;
        for (std::string word; emulator >> word;) words.push_back(word);
        words.insert(words.end(), {ORVA_VPND, "--log-level", "warn", "--config", ORVA_DEMO_CONFIG,
                                   "--state", "none", "--control", "none"});
        return words;
    }

    ChildProcess m_child;  // killed at the end
};
