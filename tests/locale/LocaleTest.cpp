#include "support/DevServer.h"
#include "support/MfcConverter.h"
#include "tests/device/CommandFixture.h"

#include <clocale>

// The driver in hosts of other countries. The locales are made for these tests: one that is
// missing is a failure.
class LocaleTest : public CommandTest, public testing::WithParamInterface<const char*>
{
protected:
    void SetUp() override
    {
        ASSERT_NE(std::setlocale(LC_ALL, GetParam()), nullptr) << "no such locale";
    }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }

    static bool hasDecimalComma() { return *std::localeconv()->decimal_point == ','; }

    static CString numeric(const char* text)
    {
        double value = 0.0;
        MfcConverter::GetInstance().cstringToNumeric(text, "%lf", &value);
        CString result;
        result.Format("%.2f", value);
        return result;
    }
};

std::string nameOf(const testing::TestParamInfo<const char*>& locale)
{
    std::string name(locale.param);
    for (char& c : name) {
        if (c == '.' || c == '-') c = '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Everywhere, LocaleTest,
                         testing::Values("C", "tr_TR.UTF-8", "tr_TR.ISO-8859-9", "de_DE.UTF-8",
                                         "zh_CN.GB18030"),
                         nameOf);

TEST_P(LocaleTest, EachCommandWordIsRecognisedInEitherCase)
{
    struct Row {
        const char *asDeclared, *upper, *lower, *mixed, *arguments, *method;
    };
    for (const Row& row : {
             Row{"SETVPNSERVER", "SETVPNSERVER", "setvpnserver", "SetVpnServer", "(a,1,r)",
                 "setServerIPAndPort"},
             Row{"SETVPNCA", "SETVPNCA", "setvpnca", "SetVpnCa", "(a,r)", "setVPNCA"},
             Row{"SETDEVICESN", "SETDEVICESN", "setdevicesn", "SetDeviceSn", "(a,r)",
                 "setDeviceSn"},
             Row{"STARTVPN", "STARTVPN", "startvpn", "StartVpn", "(10.0.0.1,1,r)", "startVPN"},
             Row{"STOPVPN", "STOPVPN", "stopvpn", "StopVpn", "(r)", "stopVPN"},
             Row{"SETALIVETIME", "SETALIVETIME", "setalivetime", "SetAliveTime", "(7,r)",
                 "setBeatInterval"},
             Row{"REFRESH", "REFRESH", "refresh", "Refresh", "()", "checkCommState"},
             Row{"Enable", "ENABLE", "enable", "eNaBlE", "(on,r)", "setVPNEnabled"},
             Row{"Online", "ONLINE", "online", "oNlInE", "(r)", "setOnline"},
             Row{"Offline", "OFFLINE", "offline", "oFfLiNe", "(r)", "setOnline"},
             Row{"GetVPNPasswd", "GETVPNPASSWD", "getvpnpasswd", "gEtVpNpAsSwD", "(t,r)",
                 "getVPNPassword"},
             Row{"SetVPNPasswd", "SETVPNPASSWD", "setvpnpasswd", "sEtVpNpAsSwD", "(abc123,r)",
                 "setVPNPassword"},
             Row{"ORVA_WRITE", "ORVA_WRITE", "orva_write", "Orva_Write", "(9=abc123)",
                 "setVPNPassword"},
         }) {
        for (const char* word : {row.asDeclared, row.upper, row.lower, row.mixed}) {
            SCOPED_TRACE(word);
            reset();
            EXPECT_EQ(command(std::string(word) + row.arguments), 0);
            EXPECT_EQ(service().calls, scripted::Calls{row.method});
        }
    }
}

TEST_P(LocaleTest, OnlyLettersOfAsciiHaveTwoCases)
{
    // A Turkish capital I with and a small one without a dot, in UTF-8 and in ISO-8859-9.
    for (const char* word : {"ONL\xC4\xB0NE", "onl\xC4\xB1ne", "ONL\xDDNE", "onl\xFDne"}) {
        EXPECT_EQ(command(word + std::string("(r)")), 5) << word;
    }
    EXPECT_EQ(command("ORVA\x7FWRITE(9=abc123)"), 5) << "the byte behind _ and 32 more";
    EXPECT_TRUE(service().calls.empty());
}

TEST_P(LocaleTest, AWholeLifeLeavesTheLocaleAlone)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    IDeviceCtrl* const device = CreateDeviceCtrl("VPN_1", &host());
    scripted::FakeCommunication communication;
    EXPECT_EQ(device->UpdataCommunication(&communication), 0);
    const unsigned char blob[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
    EXPECT_EQ(device->InitDevice(blob, sizeof blob), 0);
    service().answersAll();
    host().declareChannels();
    const std::vector<int> wanted(10, 1);
    EXPECT_EQ(device->CollectDevData(wanted.data(), 10), 0);
    EXPECT_EQ(host().published.size(), 10u);
    EXPECT_EQ(device->DevIOCtrl("Offline(r)"), 0);
    double number = 1.5;
    EXPECT_EQ(device->WriteChannel(8, DATATYPE_DOUBLE, &number), 5);
    service().fails("checkCommState");
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(device->DevIOCtrl("REFRESH()"), 1); }),
              "mfDevIOCtrl[293] failed with: scripted-fault\n");
    EXPECT_EQ(device->CleanupDevice(), 0);
    EXPECT_EQ(DestroyDeviceCtrl(device), 0);
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

// A double is written with the locale's decimal point, which no password may hold either.
TEST_P(LocaleTest, ADoubleIsNoPasswordAndAWholeNumberIsOne)
{
    CDevCtrl device("VPN_1", &host());
    const unsigned char blob[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
    EXPECT_EQ(device.InitDevice(blob, sizeof blob), 0);
    double number = 1234567.0;
    EXPECT_EQ(device.WriteChannel(8, DATATYPE_DOUBLE, &number), 5);
    EXPECT_EQ(device.WriteChannel(1, DATATYPE_DOUBLE, &number), 4);
    EXPECT_TRUE(service().calls.empty());
    int whole = 1234567;
    EXPECT_EQ(device.WriteChannel(8, DATATYPE_INT, &whole), 0);
    EXPECT_EQ(service().arguments.back(), one(textArgument("1234567")));
    EXPECT_EQ(device.CleanupDevice(), 0);
}

// strtod has the say, and it follows the locale.
TEST_P(LocaleTest, FractionsAreReadAndWrittenWithTheLocalesDecimalPoint)
{
    const bool comma = hasDecimalComma();
    EXPECT_EQ(comma, std::string(GetParam()) != "C" && GetParam()[0] != 'z');
    EXPECT_STREQ(numeric("12.5"), comma ? "12,00" : "12.50");
    EXPECT_STREQ(numeric("12,5"), comma ? "12,50" : "12.00");
    EXPECT_STREQ(CDevServer::SvrDouble2Str(1.5, kTypeText, 1, 3), comma ? "1,5" : "1.5");
}

TEST_P(LocaleTest, WholeNumbersAndHexadecimalOnesAreTheSameEverywhere)
{
    int value = 0;
    EXPECT_TRUE(MfcConverter::GetInstance().ConvertToInt("1234567", value));
    EXPECT_EQ(value, 1234567);
    EXPECT_FALSE(MfcConverter::GetInstance().ConvertToInt("1.234.567", value));
    for (const char* format : {"%x", "%X"}) {
        MfcConverter::GetInstance().cstringToNumeric("fI", format, &value);
        EXPECT_EQ(value, 15) << format;
    }
    CString text("3F800000");
    EXPECT_EQ(CDevServer::SvrStr2Double(text, 89, 0, 0), 1.0);
    EXPECT_STREQ(CDevServer::SvrDouble2Str(-1.0, 87, 0, 0), "FFFFFFFF");
}

TEST_P(LocaleTest, LettersOfACredentialAreThoseOfIsalnumAndIsalpha)
{
    // A small s with a cedilla in ISO-8859-9, no character in the others.
    CString text("abcde\xFE");
    const bool isLetter = std::string(GetParam()) == "tr_TR.ISO-8859-9";
    EXPECT_EQ(CDevBas::_CheckVPNPasswd(text), isLetter);
    EXPECT_EQ(CDevBas::_CheckVPNUserName(text), isLetter);
}

TEST_P(LocaleTest, CharacterSetsAreThoseOfTheConversionAndNotOfTheLocale)
{
    CString utf8("\xE4\xB8\xAD");
    CByteArray bytes;
    EXPECT_EQ(CDevServer::SvrStr2ASCII(utf8, bytes), 2);
    EXPECT_EQ(bytes[0], 0xD6);
    EXPECT_EQ(bytes[1], 0xD0);
    CString back;
    EXPECT_EQ(CDevServer::SvrASCII2Str(bytes, back), 3);
    EXPECT_STREQ(back, "\xE4\xB8\xAD");
}
