#include "tests/device/DeviceFixture.h"

#include <unistd.h>

#include <cstdio>
#include <stdexcept>

using scripted::Calls;

class CommandParsingTest : public DeviceTest
{
protected:
    CommandParsingTest()
    {
        m_host.variables = {{"r", 0}, {"x", 1}};
        service().acknowledges("checkCommState");
        service().acknowledges("setVPNEnabled");
        service().answer("setVPNCA", 0);
        service().answer("stopVPN", 0);
    }

    static std::vector<std::string> split(const char* text, char separator, bool& found)
    {
        std::vector<QZ::utils::String> fields;
        found = CDevBas::_SplitString(text, separator, fields);
        return {fields.begin(), fields.end()};
    }
};

TEST_F(CommandParsingTest, CommandWithoutParenthesesIsMalformedAndStillSizesTheArrays)
{
    for (const char* text : {"REFRESH", "REFRESH(", "REFRESH)", ""}) {
        m_numbers.SetSize(0);
        m_texts.SetSize(0);
        EXPECT_EQ(command(text), 5) << text;
        EXPECT_EQ(m_numbers.GetSize(), 11);
        EXPECT_EQ(m_texts.GetSize(), 11);
    }
    EXPECT_TRUE(service().events.empty());
}

TEST_F(CommandParsingTest, ArraysShrinkAndGrowToElevenWithZerosBehindTheOldSize)
{
    m_numbers.SetSize(21);
    m_texts.SetSize(3);
    m_numbers[10] = 4.0;
    m_texts[2] = "kept";
    command("REFRESH()");
    EXPECT_EQ(m_numbers.GetSize(), 11);
    EXPECT_EQ(m_numbers[10], 4.0);
    EXPECT_EQ(m_texts.GetSize(), 11);
    EXPECT_STREQ(m_texts[2], "kept");
    EXPECT_STREQ(m_texts[10], "");
    m_texts.SetSize(21);
    command("REFRESH()");
    EXPECT_EQ(m_texts.GetSize(), 11);
}

TEST_F(CommandParsingTest, NameAndArgumentsAreTrimmedAndCaseDoesNotMatter)
{
    EXPECT_EQ(command("  setvpnca ( a,r ) "), 0);
    EXPECT_EQ(service().calls, Calls{"setVPNCA"});
    EXPECT_EQ(service().arguments.back(), scripted::encoded(1) + textArgument("a"));
}

TEST_F(CommandParsingTest, MixedCaseWordsMatchInAnyCase)
{
    for (const char* text : {"Enable(x,r)", "ENABLE(x,r)", "enable(x,r)", "eNaBlE(x,r)"}) {
        EXPECT_EQ(command(text), 0) << text;
        EXPECT_EQ(service().calls.back(), "setVPNEnabled");
    }
    EXPECT_EQ(service().calls.size(), 4u);
}

TEST_F(CommandParsingTest, UnknownNameIsRefusedWithoutAConnection)
{
    for (const char* text : {"REFRESHX()", "REFRES()", "()", "STOP VPN(r)", "XORVA_WRITE(9=abc123)",
                             "ORVA_WRITES(9=abc123)", ")REFRESH()", ")("}) {
        EXPECT_EQ(command(text), 5) << text;
    }
    EXPECT_TRUE(service().events.empty());
}

TEST_F(CommandParsingTest, TextBehindTheFirstClosingParenthesisIsIgnored)
{
    EXPECT_EQ(command("STOPVPN(r)(r,r)) and more"), 0);
    EXPECT_EQ(command("STOPVPN((r)"), 5) << "the second opening one belongs to the field";
}

TEST_F(CommandParsingTest, NoConnectionGivesOneWithoutRunningTheHandler)
{
    service().onlineAnswers = {false};
    EXPECT_EQ(command("STOPVPN(r,x)"), 1) << "before the arguments are looked at";
    EXPECT_TRUE(service().calls.empty());
    EXPECT_TRUE(m_host.asked.empty());
    EXPECT_EQ(command("STOPVPN(r,x)"), 5);
}

TEST_F(CommandParsingTest, MissingRecordGivesNoService)
{
    CString text("REFRESH()");
    EXPECT_EQ(CDevBas::mfDevIOCtrl(m_data, text, m_numbers, m_texts), 1);
}

TEST_F(CommandParsingTest, ChannelWriteKeywordComesBeforeTheConnection)
{
    for (const char* text : {"ORVA_WRITE(3=abc)", "orva_write(3=abc)", " Orva_Write (3=abc)"}) {
        EXPECT_EQ(command(text), 4) << text;
    }
    EXPECT_TRUE(service().events.empty());
}

TEST_F(CommandParsingTest, FailedCallGivesOneLineAndADroppedConnection)
{
    service().fails("stopVPN");
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(command("STOPVPN(r)"), 1); }),
              "mfDevIOCtrl[293] failed with: scripted-fault\n");
    EXPECT_EQ(record().pDispatchClient, nullptr);
    EXPECT_EQ(service().connectionsAlive, 0);
    EXPECT_EQ(m_host.writeCalls, 0) << "the result variable is left alone";
    EXPECT_EQ(command("REFRESH()"), 0) << "the next command connects anew";
}

TEST_F(CommandParsingTest, LineOfAFailureIsOutWhenTheCommandReturns)
{
    service().fails("stopVPN");
    record();
    std::fflush(stdout);
    const int terminal = dup(STDOUT_FILENO);
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    // As standard output is written that is no terminal.
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    dup2(fileno(file), STDOUT_FILENO);
    const int code = command("STOPVPN(r)");
    char text[100] = {};
    const ssize_t count = pread(fileno(file), text, sizeof text - 1, 0);
    std::fflush(stdout);
    dup2(terminal, STDOUT_FILENO);
    close(terminal);
    std::fclose(file);
    EXPECT_EQ(code, 1);
    EXPECT_GT(count, 0);
    EXPECT_STREQ(text, "mfDevIOCtrl[293] failed with: scripted-fault\n");
}

TEST_F(CommandParsingTest, TextsOfTheFailureAreNoFormat)
{
    service().fails("stopVPN", [] { throw QZ::Net::Exception("%s%n", "%d"); });
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(command("STOPVPN(r)"), 1); }),
              "mfDevIOCtrl[293] failed with: %s%n-%d\n");
}

TEST_F(CommandParsingTest, OtherExceptionsPass)
{
    service().fails("stopVPN", scripted::raiseOther);
    EXPECT_THROW(command("STOPVPN(r)"), std::runtime_error);
    EXPECT_NE(record().pDispatchClient, nullptr);
}

TEST_F(CommandParsingTest, SplittingKeepsEmptyFieldsAndTrimsEach)
{
    bool found = false;
    EXPECT_EQ(split("a,,b,", ',', found), (std::vector<std::string>{"a", "", "b", ""}));
    EXPECT_TRUE(found);
    EXPECT_EQ(split(" a ; b c\t", ';', found), (std::vector<std::string>{"a", "b c"}));
    EXPECT_TRUE(found);
    EXPECT_EQ(split("", ',', found), std::vector<std::string>{""});
    EXPECT_FALSE(found);
    EXPECT_EQ(split("one", ',', found), std::vector<std::string>{"one"});
    EXPECT_FALSE(found);
    EXPECT_EQ(split(nullptr, ',', found), std::vector<std::string>{""});
    EXPECT_FALSE(found);
    EXPECT_EQ(split(",", ',', found), (std::vector<std::string>{"", ""}));
    EXPECT_TRUE(found);
}

TEST_F(CommandParsingTest, SplittingAppendsToWhatIsThere)
{
    std::vector<QZ::utils::String> fields{"first"};
    CDevBas::_SplitString("a,b", ',', fields);
    EXPECT_EQ(fields.size(), 3u);
}
