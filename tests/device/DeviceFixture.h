#pragma once

#include "device/DevBas.h"
#include "device/DevTables.h"
#include "host/DevData.h"
#include "host/StatusCodes.h"
#include "host/devicevpn.h"
#include "host/qdevctrl.h"
#include "platform/QZNet.h"
#include "tests/scripted/FakeHost.h"
#include "tests/scripted/ScriptedService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

// A device record as the driver object hands it down, over the scripted
// platform and a host with variables. Starts without DEV_DATA.
class DeviceTest : public testing::Test
{
protected:
    DeviceTest()
    {
        scripted::resetService();
        m_data.pRtdb = &m_host;
        m_data.pfnGetParamType = &CDevCtrl::GetParamType_Fun;
        m_data.pfnGetParamValue = &CDevCtrl::GetParamValue_Fun;
        m_data.pfnSetParamValue = &CDevCtrl::SetParamValue_Fun;
    }
    ~DeviceTest() override { orva_device::SvrExitDevRun(m_data); }

    scripted::Service& service() { return scripted::service(); }
    scripted::FakeRtdb& host() { return m_host; }

    // The device's state, made on first use with all ten channels.
    DEV_DATA& record()
    {
        if (m_data.pDevData == nullptr) {
            m_data.pDevData = new DEV_DATA();
            m_data.pDevData->nMaxChannel = 10;
        }
        return *m_data.pDevData;
    }
    void connect()
    {
        ASSERT_TRUE(CDevBas::initData(&record()));
        service().events.clear();
    }

    int command(const std::string& text)
    {
        record();
        CString command(text.c_str());
        return CDevBas::mfDevIOCtrl(m_data, command, m_numbers, m_texts);
    }
    // Standard output of the action.
    template <class Action>
    static std::string outputOf(Action action)
    {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    // A command's argument block: one text, one number.
    static scripted::Bytes textArgument(const std::string& text)
    {
        return scripted::encoded(std::string("QZ::utils::String")) + scripted::encoded(text);
    }
    static scripted::Bytes intArgument(int value)
    {
        return scripted::encoded(std::string("int")) + scripted::encoded(value);
    }
    static scripted::Bytes boolArgument(bool value)
    {
        return scripted::encoded(std::string("bool")) + std::string(1, value ? '\1' : '\0');
    }

    scripted::FakeRtdb m_host;
    ORVA_DATA m_data;
    CArray<int, int> m_flags;
    CArray<double, double> m_numbers;
    CStringArray m_texts;
};
