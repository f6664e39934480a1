#include "support/DevServer.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace
{

using Value = std::variant<int, double, std::string>;

// A host record with variables behind its callbacks, which fail like a host
// would: an unknown name leaves the type alone.
struct Host : ORVA_DATA {
    Host()
    {
        pfnGetParamType = getType;
        pfnGetParamValue = getValue;
        pfnSetParamValue = setValue;
    }

    static int getType(ORVA_DATA& data, CString name, DATATYPE& type)
    {
        auto& host = static_cast<Host&>(data);
        if (host.reported) {
            type = static_cast<DATATYPE>(*host.reported);
            return host.status;
        }
        const auto found = host.variables.find(static_cast<const char*>(name));
        if (found == host.variables.end()) return 1;
        type = static_cast<DATATYPE>(found->second.index() + 1);
        return host.status;
    }

    static int getValue(ORVA_DATA& data, CString name, DATATYPE type, void* value)
    {
        auto& host = static_cast<Host&>(data);
        if (host.status != 0) return host.status;
        const Value& stored = host.variables.at(static_cast<const char*>(name));
        EXPECT_EQ(static_cast<std::size_t>(type), stored.index() + 1);
        if (type == DATATYPE_INT) *static_cast<int*>(value) = std::get<int>(stored);
        if (type == DATATYPE_DOUBLE) *static_cast<double*>(value) = std::get<double>(stored);
        if (type == DATATYPE_STRING) {
            *static_cast<CString*>(value) = std::get<std::string>(stored).c_str();
        }
        return 0;
    }

    static int setValue(ORVA_DATA& data, CString name, DATATYPE type, void* value)
    {
        auto& host = static_cast<Host&>(data);
        ++host.writes;
        Value& stored = host.variables.at(static_cast<const char*>(name));
        EXPECT_EQ(static_cast<std::size_t>(type), stored.index() + 1);
        if (type == DATATYPE_INT) stored = *static_cast<int*>(value);
        if (type == DATATYPE_DOUBLE) stored = *static_cast<double*>(value);
        if (type == DATATYPE_STRING) {
            stored = std::string(static_cast<const char*>(*static_cast<CString*>(value)));
        }
        return host.status;
    }

    std::map<std::string, Value> variables{
        {"count", 7}, {"level", 2.25}, {"title", std::string("hello")}};
    std::optional<int> reported;  // as the type of every name
    int status = 0;
    int writes = 0;
};

struct NumberRead {
    int result;
    double value;
    bool operator==(const NumberRead& other) const
    {
        return result == other.result && value == other.value;
    }
};

struct TextRead {
    int result;
    std::string value;
    bool operator==(const TextRead& other) const
    {
        return result == other.result && value == other.value;
    }
};

class ParametersTest : public testing::Test
{
protected:
    NumberRead number(const char* name)
    {
        double value = 99.0;
        const int result = CDevServer::SvrGetParaValue(host, name, value);
        return {result, value};
    }

    TextRead text(const char* name)
    {
        CString value("old");
        const int result = CDevServer::SvrGetParaValue(host, name, value);
        return {result, std::string(static_cast<const char*>(value))};
    }

    int set(const char* name, double value)
    {
        return CDevServer::SvrSetParaValue(host, name, value);
    }

    int set(const char* name, const char* value)
    {
        CString copy(value);
        return CDevServer::SvrSetParaValue(host, name, copy);
    }

    Host host;
};

TEST_F(ParametersTest, TypeIsWhatTheHostReports)
{
    EXPECT_EQ(CDevServer::SvrGetParaType(host, "count"), 1);
    EXPECT_EQ(CDevServer::SvrGetParaType(host, "level"), 2);
    EXPECT_EQ(CDevServer::SvrGetParaType(host, "title"), 3);
    EXPECT_EQ(CDevServer::SvrGetParaType(host, "nobody"), -2);
    host.status = 5;
    EXPECT_EQ(CDevServer::SvrGetParaType(host, "count"), 1);
    host.pfnGetParamType = nullptr;
    EXPECT_EQ(CDevServer::SvrGetParaType(host, "count"), -2);
}

TEST_F(ParametersTest, NumbersAreReadFromVariables)
{
    EXPECT_EQ(number("count"), (NumberRead{1, 7.0}));
    EXPECT_EQ(number("level"), (NumberRead{1, 2.25}));
}

TEST_F(ParametersTest, StringVariableIsNoNumber)
{
    EXPECT_EQ(number("title"), (NumberRead{0, 0.0}));
}

TEST_F(ParametersTest, NumberOfAFailingReadIsZeroAndStillARead)
{
    host.status = 5;
    EXPECT_EQ(number("count"), (NumberRead{1, 0.0}));
    EXPECT_EQ(number("level"), (NumberRead{1, 0.0}));
    host.pfnGetParamValue = nullptr;
    EXPECT_EQ(number("count"), (NumberRead{1, 0.0}));
    EXPECT_EQ(number("level"), (NumberRead{1, 0.0}));
}

TEST_F(ParametersTest, NumberOfAnUnknownNameIsTheLiteral)
{
    EXPECT_EQ(number(" \t12.5 "), (NumberRead{1, 12.5}));
    EXPECT_EQ(number("-3e2"), (NumberRead{1, -300.0}));
    // The sign is taken off behind the blanks, and libc takes another one.
    EXPECT_EQ(number(" --9"), (NumberRead{1, 9.0}));
    EXPECT_EQ(number("   "), (NumberRead{1, 0.0}));
    EXPECT_EQ(number(""), (NumberRead{1, 0.0}));
}

TEST_F(ParametersTest, LiteralThatIsNoNumberIsStillARead)
{
    EXPECT_EQ(number("abc"), (NumberRead{1, 0.0}));
    EXPECT_EQ(number("12abc"), (NumberRead{1, 12.0}));
}

TEST_F(ParametersTest, WithoutTypeCallbackEveryNameIsALiteral)
{
    host.variables["12"] = 99;
    EXPECT_EQ(number("12"), (NumberRead{1, 99.0}));
    host.pfnGetParamType = nullptr;
    EXPECT_EQ(number("12"), (NumberRead{1, 12.0}));
    EXPECT_EQ(number("count"), (NumberRead{1, 0.0}));
    EXPECT_EQ(text("title"), (TextRead{1, "title"}));
}

TEST_F(ParametersTest, ANameOfATypeThatNobodyKnowsIsALiteralAndIsNotWritten)
{
    host.variables["12.5"] = 99;
    for (const int type : {0, 4}) {
        host.reported = type;
        EXPECT_EQ(CDevServer::SvrGetParaType(host, "count"), type);
        EXPECT_EQ(number("12.5"), (NumberRead{1, 12.5}));
        EXPECT_EQ(text("title"), (TextRead{1, "title"}));
        EXPECT_EQ(set("level", 1.0), 0);
        EXPECT_EQ(set("title", "new"), 0);
    }
    EXPECT_EQ(host.writes, 0);
}

TEST_F(ParametersTest, TextsAreReadFromVariables)
{
    EXPECT_EQ(text("title"), (TextRead{1, "hello"}));
}

TEST_F(ParametersTest, NumericVariableIsNoTextAndEmptiesTheTarget)
{
    EXPECT_EQ(text("count"), (TextRead{0, ""}));
    EXPECT_EQ(text("level"), (TextRead{0, ""}));
}

TEST_F(ParametersTest, TextOfAnUnknownNameIsTheNameUnchanged)
{
    EXPECT_EQ(text(" 12.5 "), (TextRead{1, " 12.5 "}));
    EXPECT_EQ(text("   "), (TextRead{1, "   "}));
    EXPECT_EQ(text(""), (TextRead{1, ""}));
}

TEST_F(ParametersTest, TextWithoutValueCallbackIsEmptyAndStillARead)
{
    host.pfnGetParamValue = nullptr;
    EXPECT_EQ(text("title"), (TextRead{1, ""}));
}

TEST_F(ParametersTest, NameAndTargetMayBeTheSameText)
{
    CString both("title");
    EXPECT_EQ(CDevServer::SvrGetParaValue(host, both, both), 1);
    EXPECT_EQ(both, "hello");
    CString literal("nobody");
    EXPECT_EQ(CDevServer::SvrGetParaValue(host, literal, literal), 1);
    EXPECT_EQ(literal, "nobody");
}

TEST_F(ParametersTest, NumbersWrittenIntoIntegersAreRounded)
{
    EXPECT_EQ(set("count", 2.5), 1);
    EXPECT_EQ(host.variables["count"], Value(3));
    EXPECT_EQ(set("count", -2.5), 1);
    EXPECT_EQ(host.variables["count"], Value(-3));
    EXPECT_EQ(set("count", 4294967295.0), 1);
    EXPECT_EQ(host.variables["count"], Value(-1));
    EXPECT_EQ(set("count", std::numeric_limits<double>::quiet_NaN()), 1);
    EXPECT_EQ(host.variables["count"], Value(0));
}

TEST_F(ParametersTest, NumbersWrittenIntoDoublesStayAsTheyAre)
{
    EXPECT_EQ(set("level", 2.5), 1);
    EXPECT_EQ(host.variables["level"], Value(2.5));
}

TEST_F(ParametersTest, NumbersGoIntoNumericVariablesOnly)
{
    EXPECT_EQ(set("title", 1.0), 0);
    EXPECT_EQ(set("nobody", 1.0), 0);
    EXPECT_EQ(host.writes, 0);
}

TEST_F(ParametersTest, TextsGoIntoStringVariablesOnly)
{
    EXPECT_EQ(set("title", "new"), 1);
    EXPECT_EQ(host.variables["title"], Value(std::string("new")));
    EXPECT_EQ(set("count", "new"), 0);
    EXPECT_EQ(set("level", "new"), 0);
    EXPECT_EQ(set("nobody", "new"), 0);
    EXPECT_EQ(host.writes, 1);
}

TEST_F(ParametersTest, WritingWithoutSetCallbackCountsAsWritten)
{
    host.pfnSetParamValue = nullptr;
    EXPECT_EQ(set("count", 1.0), 1);
    EXPECT_EQ(set("level", 1.0), 1);
    EXPECT_EQ(set("title", "x"), 1);
    EXPECT_EQ(host.variables["count"], Value(7));
}

TEST_F(ParametersTest, AWriteThatTheHostRefusesCountsAsWritten)
{
    host.status = 5;
    EXPECT_EQ(set("count", 1.0), 1);
    EXPECT_EQ(set("title", "x"), 1);
    EXPECT_EQ(host.writes, 2);
}

TEST_F(ParametersTest, WithoutTypeCallbackNothingIsWritten)
{
    host.pfnGetParamType = nullptr;
    EXPECT_EQ(set("count", 1.0), 0);
    EXPECT_EQ(set("title", "x"), 0);
    EXPECT_EQ(host.writes, 0);
}

}  // namespace
