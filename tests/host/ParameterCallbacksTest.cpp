#include "tests/host/HostFixture.h"

class ParameterCallbacksTest : public HostTest
{
protected:
    ParameterCallbacksTest()
    {
        host().variables = {{"i", 7}, {"d", 2.5}, {"t", std::string("text\0hidden", 11)}};
        m_without.pRtdb = nullptr;
    }

    ORVA_DATA& data() { return m_device.m_data; }
    ORVA_DATA m_without;
};

TEST_F(ParameterCallbacksTest, TypeQueryChecksNameThenDatabase)
{
    DATATYPE type = static_cast<DATATYPE>(-2);
    EXPECT_EQ(CDevCtrl::GetParamType_Fun(m_without, "", type), kStatusFailed);
    EXPECT_EQ(CDevCtrl::GetParamType_Fun(m_without, "i", type), kStatusNoRtdb);
    EXPECT_EQ(type, -2);
    EXPECT_EQ(CDevCtrl::GetParamType_Fun(data(), "d", type), 0);
    EXPECT_EQ(type, DATATYPE_DOUBLE);
    EXPECT_EQ(CDevCtrl::GetParamType_Fun(data(), "none", type), 1) << "the host's own status";
}

TEST_F(ParameterCallbacksTest, ReadingChecksArgumentsThenDatabase)
{
    int value = 3;
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "i", DATATYPE_INT, nullptr), kStatusFailed);
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "", DATATYPE_INT, &value), kStatusFailed);
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(m_without, "i", DATATYPE_INT, &value), kStatusNoRtdb);
    for (const int type : {0, 4, -2}) {
        EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "i", static_cast<DATATYPE>(type), &value),
                  kStatusFailed);
    }
    EXPECT_EQ(value, 3);
}

TEST_F(ParameterCallbacksTest, ReadingGoesByTheType)
{
    int number = 0;
    double real = 0.0;
    CString text;
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "i", DATATYPE_INT, &number), 0);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "d", DATATYPE_DOUBLE, &real), 0);
    EXPECT_EQ(real, 2.5);
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "t", DATATYPE_STRING, &text), 0);
    EXPECT_EQ(text.GetLength(), 4) << "cut at the first zero byte";
    EXPECT_STREQ(text, "text");
}

TEST_F(ParameterCallbacksTest, TextIsAssignedWhateverTheStatus)
{
    CString text("old");
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "none", DATATYPE_STRING, &text), 1);
    EXPECT_STREQ(text, "");
    host().status = 42;
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "t", DATATYPE_STRING, &text), 42);
    EXPECT_STREQ(text, "text");
}

TEST_F(ParameterCallbacksTest, HostsStatusComesBackUnchanged)
{
    host().status = 42;
    DATATYPE type = DATATYPE_INT;
    int number = 0;
    double real = 0.0;
    CString text;
    EXPECT_EQ(CDevCtrl::GetParamType_Fun(data(), "i", type), 42);
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "i", DATATYPE_INT, &number), 42);
    EXPECT_EQ(CDevCtrl::GetParamValue_Fun(data(), "d", DATATYPE_DOUBLE, &real), 42);
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "i", DATATYPE_INT, &number), 42);
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "d", DATATYPE_DOUBLE, &real), 42);
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "t", DATATYPE_STRING, &text), 42);
}

TEST_F(ParameterCallbacksTest, WritingChecksArgumentsThenDatabase)
{
    int value = 3;
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "i", DATATYPE_INT, nullptr), kStatusFailed);
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "", DATATYPE_INT, &value), kStatusFailed);
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(m_without, "i", DATATYPE_INT, &value), kStatusNoRtdb);
    for (const int type : {0, 4, -2}) {
        EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "i", static_cast<DATATYPE>(type), &value),
                  kStatusFailed);
    }
    EXPECT_EQ(host().writeCalls, 0);
}

TEST_F(ParameterCallbacksTest, WritingGoesByTheType)
{
    int number = -8;
    double real = -2.5;
    CString text("new");
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "i", DATATYPE_INT, &number), 0);
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "d", DATATYPE_DOUBLE, &real), 0);
    host().status = 42;
    EXPECT_EQ(CDevCtrl::SetParamValue_Fun(data(), "t", DATATYPE_STRING, &text), 42);
    EXPECT_EQ(host().variables["i"], scripted::FakeRtdb::Value(-8));
    EXPECT_EQ(host().variables["d"], scripted::FakeRtdb::Value(-2.5));
    EXPECT_EQ(host().variables["t"], scripted::FakeRtdb::Value(std::string("new")));
}
