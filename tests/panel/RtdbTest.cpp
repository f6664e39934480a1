#include "host/StatusCodes.h"
#include "panel/runtime/MemoryRtdb.h"
#include "panel/runtime/PanelError.h"
#include "panel/runtime/ValueWatch.h"

#include <gtest/gtest.h>
#include <atomic>
#include <climits>
#include <thread>

namespace panel
{
namespace
{

class RtdbTest : public ::testing::Test
{
protected:
    RtdbTest()
    {
        EXPECT_TRUE(m_variables.define("i", 7));
        EXPECT_TRUE(m_variables.define("d", 2.5));
        EXPECT_TRUE(m_variables.define("s", std::string("text")));
    }

    VariableStore m_variables;
    MemoryRtdb m_rtdb{m_variables};
};

TEST_F(RtdbTest, ATypeQueryForAnUnknownNameFailsAndLeavesTheTypeUntouched)
{
    DATATYPE type = DATATYPE_DOUBLE;
    EXPECT_NE(m_rtdb.GetParamType("unknown", type), 0);
    EXPECT_NE(m_rtdb.GetParamType(nullptr, type), 0);
    EXPECT_EQ(type, DATATYPE_DOUBLE);
    EXPECT_EQ(m_rtdb.GetParamType("s", type), 0);
    EXPECT_EQ(type, DATATYPE_STRING);
}

TEST_F(RtdbTest, AVariableIsReadAndWrittenInItsOwnTypeOnly)
{
    int i = 0;
    double d = 0;
    std::string s;
    EXPECT_EQ(m_rtdb.GetParamInt("i", &i), 0);
    EXPECT_EQ(m_rtdb.GetParamDouble("d", &d), 0);
    EXPECT_EQ(m_rtdb.GetParamString("s", s), 0);
    EXPECT_EQ(i, 7);
    EXPECT_EQ(d, 2.5);
    EXPECT_EQ(s, "text");
    EXPECT_EQ(m_rtdb.GetParamInt("d", &i), kStatusFailed);
    EXPECT_EQ(m_rtdb.GetParamInt("i", nullptr), kStatusFailed);
    EXPECT_EQ(i, 7);
    EXPECT_EQ(m_rtdb.SetParamDouble("i", 1.0), kStatusFailed);
    EXPECT_EQ(m_rtdb.SetParamInt("unknown", 1), kStatusFailed);
    EXPECT_EQ(m_rtdb.SetParamString(nullptr, "x"), kStatusFailed);
    EXPECT_EQ(m_variables.get("i"), Value(7));
    EXPECT_TRUE(m_rtdb.takeWritten().empty());
}

TEST_F(RtdbTest, WrittenVariablesComeOnceWithTheirLastValue)
{
    EXPECT_EQ(m_rtdb.SetParamString("s", "new"), 0);
    EXPECT_EQ(m_rtdb.SetParamInt("i", 1), 0);
    EXPECT_EQ(m_rtdb.SetParamInt("i", 7), 0);
    const std::vector<NamedValue> written = m_rtdb.takeWritten();
    ASSERT_EQ(written.size(), 2U);
    EXPECT_EQ(written[0].name, "s");
    EXPECT_EQ(written[1].value, Value(7));
    EXPECT_TRUE(m_rtdb.takeWritten().empty());
}

TEST_F(RtdbTest, TheTenChannelsHaveTheirTypes)
{
    const DATATYPE expected[] = {DATATYPE_STRING, DATATYPE_INT,   DATATYPE_STRING, DATATYPE_INT,
                                 DATATYPE_STRING, DATATYPE_INT,   DATATYPE_INT,    DATATYPE_STRING,
                                 DATATYPE_STRING, DATATYPE_STRING};
    for (int i = 0; i < 10; ++i) {
        DATATYPE type{};
        EXPECT_EQ(m_rtdb.GetChannelType(i, &type), 0);
        EXPECT_EQ(type, expected[i]) << i;
    }
    DATATYPE type = DATATYPE_INT;
    for (const int index : {-1, 10, INT_MAX, INT_MIN}) {
        EXPECT_NE(m_rtdb.GetChannelType(index, &type), 0) << index;
        EXPECT_NE(m_rtdb.SetChannelInt(index, 1), 0) << index;
    }
    EXPECT_NE(m_rtdb.GetChannelType(0, nullptr), 0);
}

TEST_F(RtdbTest, PublishedChannelsAreCountedFromOneAndTakenOnce)
{
    EXPECT_EQ(m_rtdb.SetChannelString(9, "user"), 0);
    EXPECT_EQ(m_rtdb.SetChannelInt(1, 1194), 0);
    EXPECT_NE(m_rtdb.SetChannelInt(0, 5), 0);
    EXPECT_NE(m_rtdb.SetChannelDouble(1, 5), 0);
    const std::map<int, Value> expected = {{2, 1194}, {10, std::string("user")}};
    EXPECT_EQ(m_rtdb.takePublished(), expected);
    EXPECT_TRUE(m_rtdb.takePublished().empty());
}

TEST_F(RtdbTest, AWatchNotesWhatAVariableHasAndEachTimeThatItGetsItAgain)
{
    ValueWatch watch(m_variables, {{"i", 7}, {"i", 8}, {"s", std::string("x")}});
    ASSERT_EQ(watch.pending(), 1U);
    EXPECT_EQ(watch.take(), 0U);
    for (const int value : {7, 8, 8, 7, 8}) EXPECT_TRUE(m_variables.set("i", value));
    EXPECT_TRUE(m_variables.set("s", std::string("x")));
    std::vector<std::size_t> noted;
    while (watch.pending() > 0) noted.push_back(watch.take());
    EXPECT_EQ(noted, (std::vector<std::size_t>{1, 0, 1, 2}));
}

TEST_F(RtdbTest, AWatchThatIsFarBehindSaysSoInsteadOfForgetting)
{
    ValueWatch watch(m_variables, {{"i", 1}});
    for (int i = 0; i < 100000; ++i) {
        EXPECT_TRUE(m_variables.set("i", 1));
        EXPECT_TRUE(m_variables.set("i", 0));
    }
    EXPECT_EQ(watch.pending(), 100000U);
    EXPECT_EQ(watch.take(), 0U);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(m_variables.set("i", 1));
        EXPECT_TRUE(m_variables.set("i", 0));
    }
    EXPECT_THROW(watch.take(), PanelError);
}

TEST_F(RtdbTest, AVariableIsDefinedOnce)
{
    EXPECT_FALSE(m_variables.define("i", std::string("other")));
    EXPECT_EQ(m_variables.get("i"), Value(7));
}

TEST_F(RtdbTest, DevicesOnSeveralThreadsShareTheVariables)
{
    MemoryRtdb other(m_variables);
    std::atomic<int> ready{0};
    const auto writeOften = [&ready](MemoryRtdb& rtdb, const std::string& text) {
        ++ready;
        while (ready < 2) std::this_thread::yield();
        for (int i = 0; i < 200000; ++i) {
            std::string seen;
            rtdb.SetParamString("s", text);
            rtdb.GetParamString("s", seen);
            ASSERT_TRUE(seen == std::string(100, 'a') || seen == std::string(200, 'b'));
        }
    };
    std::thread thread([&] { writeOften(other, std::string(200, 'b')); });
    writeOften(m_rtdb, std::string(100, 'a'));
    thread.join();
}

}  // namespace
}  // namespace panel
