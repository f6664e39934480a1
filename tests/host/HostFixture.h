#pragma once

#include "host/DevData.h"
#include "host/StatusCodes.h"
#include "host/qdevctrl.h"
#include "platform/QZRPC.h"
#include "tests/scripted/FakeHost.h"
#include "tests/scripted/ScriptedService.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// A driver object whose insides a test may look at.
class OpenDevCtrl : public CDevCtrl
{
public:
    using CDevCtrl::_InitCollectData;
    using CDevCtrl::_InitValueArray;
    using CDevCtrl::_SetValueToRtdb;
    using CDevCtrl::CDevCtrl;
    using CDevCtrl::m_arrFlags;
    using CDevCtrl::m_arrStrings;
    using CDevCtrl::m_arrValues;
    using CDevCtrl::m_data;
    using CDevCtrl::m_nChannelCount;
    using CDevCtrl::m_pRtdb;
};

class HostTest : scripted::FreshService, public testing::Test
{
protected:
    HostTest() { m_host.declareChannels(); }
    ~HostTest() override { m_device.CleanupDevice(); }

    scripted::Service& service() { return scripted::service(); }
    scripted::FakeRtdb& host() { return m_host; }

    // Initialises with ten channels.
    void init()
    {
        const unsigned char blob[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
        ASSERT_EQ(m_device.InitDevice(blob, sizeof blob), 0);
    }
    int collectAll(int count = 10)
    {
        const std::vector<int> wanted(static_cast<std::size_t>(count), 1);
        return m_device.CollectDevData(wanted.data(), count);
    }
    std::vector<int> sizes() const
    {
        return {m_device.m_arrFlags.GetSize(), m_device.m_arrValues.GetSize(),
                m_device.m_arrStrings.GetSize()};
    }

    scripted::FakeRtdb m_host;
    scripted::FakeCommunication m_communication;
    OpenDevCtrl m_device{"VPN_1", &m_host};
};
