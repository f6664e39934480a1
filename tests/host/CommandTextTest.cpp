#include "host/devicevpn.h"
#include "host/qdevctrl.h"
#include "platform/CString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace
{
std::vector<std::string> commands;
int libraryStarts = 0;
}  // namespace

namespace orva_device
{

int DllInit()
{
    ++libraryStarts;
    return 1;
}
int SvrInitDevRun(ORVA_DATA&) { return 0; }
int SvrExitDevRun(ORVA_DATA&) { return 1; }
int SvrCollectDevData(ORVA_DATA&, CArray<int, int>&, CArray<double, double>&, CStringArray&)
{
    return 0;
}
int SvrDevIOCtrl(ORVA_DATA&, CString& cmd, CArray<double, double>& values, CStringArray&)
{
    commands.push_back(std::string(cmd));
    values[0] = -5.0;
    return 0;
}

}  // namespace orva_device

class CommandTextTest : public testing::Test
{
protected:
    CommandTextTest() { commands.clear(); }

    template <class T>
    std::string writing(int channel, int type, T value)
    {
        EXPECT_EQ(m_device.WriteChannel(channel, static_cast<DATATYPE>(type), &value), -5)
            << "the code comes from the result slot";
        return commands.back();
    }

    CDevCtrl m_device{"VPN_1", nullptr};
};

TEST_F(CommandTextTest, DoubleIsFormattedWithSixDecimals)
{
    EXPECT_EQ(writing(0, 2, 1.5), "ORVA_WRITE(1=1.500000)");
    EXPECT_EQ(writing(9, 2, -0.0000001), "ORVA_WRITE(10=-0.000000)");
}

TEST_F(CommandTextTest, LargestDoubleIsFormattedWhole)
{
    const std::string text = writing(0, 2, 1e308);
    EXPECT_EQ(text.size(), std::string("ORVA_WRITE(1=)").size() + 316);
    EXPECT_EQ(text.substr(text.size() - 8), ".000000)");
}

TEST_F(CommandTextTest, IntegerIsFormattedInDecimal)
{
    EXPECT_EQ(writing(1, 1, INT_MIN), "ORVA_WRITE(2=-2147483648)");
    EXPECT_EQ(writing(INT_MAX, 1, 7), "ORVA_WRITE(-2147483648=7)");
}

TEST_F(CommandTextTest, TextIsTakenAsItStands)
{
    char text[] = "a%s)b";
    EXPECT_EQ(m_device.WriteChannel(2, DATATYPE_STRING, text), -5);
    EXPECT_EQ(commands.back(), "ORVA_WRITE(3=a%s)b)");
    std::string megabyte(1024 * 1024, 'x');
    m_device.WriteChannel(2, DATATYPE_STRING, megabyte.data());
    EXPECT_EQ(commands.back(), "ORVA_WRITE(3=" + megabyte + ")");
}

TEST_F(CommandTextTest, UnknownTypeGivesTheEmptyCommand)
{
    EXPECT_EQ(writing(0, 0, 1), "");
    EXPECT_EQ(writing(0, 4, 1), "");
    EXPECT_EQ(commands.size(), 2u);
}

TEST_F(CommandTextTest, CommandOfTheHostIsHandedOnAsItStands)
{
    EXPECT_EQ(m_device.DevIOCtrl("  STOPVPN ( r ) "), -5);
    EXPECT_EQ(commands.back(), "  STOPVPN ( r ) ");
}

TEST_F(CommandTextTest, OnlyTheNamedObjectStartsTheGlue)
{
    const int before = libraryStarts;
    const CDevCtrl unnamed;
    EXPECT_EQ(libraryStarts, before);
    const CDevCtrl named("VPN_2", nullptr);
    EXPECT_EQ(libraryStarts, before + 1);
}
