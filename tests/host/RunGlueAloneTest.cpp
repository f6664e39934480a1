#include "device/DevBas.h"
#include "host/DevData.h"
#include "host/devicevpn.h"

#include <gtest/gtest.h>

#include <climits>

namespace
{
int answer = 0;
}

DEV_DATA::~DEV_DATA() = default;
int CDevBas::mfCheckDevDataInit(ORVA_DATA&) { return answer; }
int CDevBas::mfCollectDevData(ORVA_DATA&, CArray<int, int>&, CArray<double, double>&, CStringArray&)
{
    return answer;
}
int CDevBas::mfDevIOCtrl(ORVA_DATA&, CString&, CArray<double, double>&, CStringArray&)
{
    return answer;
}

TEST(RunGlueAloneTest, ResultsTravelAsDoublesWithTheirSign)
{
    ORVA_DATA data;
    CArray<int, int> flags;
    CArray<double, double> values;
    CStringArray strings;
    CString command("X()");
    values.SetSize(1);
    for (const int result : {-7, 0, 20, INT_MAX, INT_MIN}) {
        answer = result;
        EXPECT_EQ(orva_device::SvrCollectDevData(data, flags, values, strings), 0);
        EXPECT_EQ(values[0], static_cast<double>(result));
        values[0] = 0.5;
        EXPECT_EQ(orva_device::SvrDevIOCtrl(data, command, values, strings), result);
        EXPECT_EQ(values[0], static_cast<double>(result));
        EXPECT_EQ(orva_device::SvrInitDevRun(data), result);
    }
}
