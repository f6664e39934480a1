#include "ctl/base/Failure.h"
#include "ctl/base/Json.h"
#include "ctl/base/Words.h"
#include "ctl/client/EventReader.h"
#include "ctl/client/HttpReader.h"
#include "ctl/commands/RpcMethods.h"
#include "ctl/commands/SettingsFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using ctl::EventReader;
using ctl::HttpError;
using ctl::HttpReader;

constexpr std::size_t kMaxBody = 64;

// Body of an answer that comes in such pieces, and then ends.
std::string bodyOf(const std::string& bytes, std::size_t pieceBytes)
{
    HttpReader reader(kMaxBody);
    std::string body;
    for (std::size_t at = 0; at < bytes.size(); at += pieceBytes) {
        reader.feed(bytes.substr(at, pieceBytes));
        body += reader.takeBody();
    }
    if (!reader.isWhole()) reader.end();
    return body + reader.takeBody();
}

TEST(HttpReaderTest, ReadsAnswersOfAllThreeKindsInPiecesOfAnySize)
{
    const std::vector<std::string> answers = {
        "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello",
        "HTTP/1.0 200\r\n\r\nhello",
        "HTTP/1.1 200 OK\nTransfer-Encoding: Chunked\n\n2\nhe\n3;name=value\nllo\n0\nT: x\n\n",
    };
    for (const std::string& each : answers) {
        for (std::size_t piece = 1; piece <= each.size(); ++piece) {
            EXPECT_EQ(bodyOf(each, piece), "hello") << piece << " " << each;
        }
    }
}

TEST(HttpReaderTest, WhatEndsTooEarlyIsNotWhole)
{
    const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";
    for (std::size_t size = 0; size < answer.size(); ++size) {
        HttpReader reader(kMaxBody);
        reader.feed(answer.substr(0, size));
        EXPECT_THROW(reader.end(), HttpError) << size;
    }
}

TEST(HttpReaderTest, RefusesWhatIsNoAnswerOrTooLong)
{
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    for (const std::string& each : {
             std::string("SSH-2.0-x\r\n"),
             std::string("HTTP/2 200\r\n"),
             std::string("HTTP/1.1 abc OK\r\n"),
             std::string("HTTP/1.1 2000 OK\r\n"),
             std::string("HTTP/1.1 101 Switching\r\n"),
             ok + "no header\r\n",
             ok + ": no name\r\n",
             ok + "Content-Length: -1\r\n\r\n",
             ok + "Content-Length: 1 2\r\n\r\n",
             ok + "Content-Length: 65\r\n\r\n",
             ok + "Content-Length: 99999999999999999999999\r\n\r\n",
             ok + "Transfer-Encoding: gzip\r\n\r\n",
             ok + "Transfer-Encoding: chunked\r\n\r\nxyz\r\n",
             ok + "Transfer-Encoding: chunked\r\n\r\n1\r\nab\r\n",
             ok + "Transfer-Encoding: chunked\r\n\r\nFFFFFFFFFFFFFFFF\r\n" + std::string(65, 'a'),
             ok + "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(300, 'x'),
             ok + "\r\n" + std::string(65, 'a'),
             ok + "X: " + std::string(HttpReader::kMaxHeadBytes, 'a'),
         }) {
        HttpReader reader(kMaxBody);
        EXPECT_THROW(reader.feed(each), HttpError) << each;
    }
    std::string headers = ok;
    for (std::size_t i = 0; i <= HttpReader::kMaxHeaders; ++i) {
        headers += "H" + std::to_string(i) + ": x\r\n";
    }
    HttpReader reader(kMaxBody);
    EXPECT_THROW(reader.feed(headers), HttpError);
}

TEST(HttpReaderTest, ABodyThatIsTakenInTimeMayBeAsLongAsItLikes)
{
    HttpReader reader(kMaxBody);
    reader.feed("HTTP/1.1 200 OK\r\n\r\n");
    std::size_t bytes = 0;
    for (int i = 0; i < 10; ++i) {
        reader.feed(std::string(kMaxBody, 'a'));
        bytes += reader.takeBody().size();
    }
    EXPECT_EQ(bytes, 10 * kMaxBody);
}

std::vector<std::string> eventsOf(const std::string& bytes, std::size_t pieceBytes)
{
    EventReader reader;
    std::vector<std::string> events;
    for (std::size_t at = 0; at < bytes.size(); at += pieceBytes) {
        reader.feed(bytes.substr(at, pieceBytes), [&](const ctl::Event& event) {
            events.push_back(event.name + "|" + event.id + "|" + event.data);
        });
    }
    return events;
}

TEST(EventReaderTest, ReadsEventsWithEachLineEndInPiecesOfAnySize)
{
    const std::string bytes =
        ": comment\n\nevent: a\r\nid: 1\r\ndata: x\r\ndata: y\r\n\r\nid: 2\rdata:z\r\revent: "
        "lost\n\n"
        "data\n\ndata: not whole";
    for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
        EXPECT_EQ(eventsOf(bytes, piece),
                  (std::vector<std::string>{"a|1|x\ny", "message|2|z", "message|2|"}))
            << piece;
    }
}

TEST(EventReaderTest, RefusesAnEventThatIsTooLong)
{
    EventReader reader;
    const auto nothing = [](const ctl::Event&) {};
    reader.feed("data: " + std::string(EventReader::kMaxEventBytes / 2, 'a') + "\n", nothing);
    EXPECT_THROW(
        reader.feed("data: " + std::string(EventReader::kMaxEventBytes / 2, 'a') + "\n", nothing),
        HttpError);
}

TEST(JsonTest, FindsByPathAndShowsOnOneMaskedLine)
{
    const ctl::Json value =
        ctl::parseJson(R"({"a": {"b": [1, {"c": "x\ty\u009b"}]}, "n": null, "t": true})");
    EXPECT_EQ(ctl::textAt(value, "a.b.1.c"), "x\\x09y\\xC2\\x9B");
    EXPECT_EQ(ctl::textAt(value, "a.b.0"), "1");
    EXPECT_EQ(ctl::textAt(value, "n"), "");
    EXPECT_EQ(ctl::textAt(value, "t"), "true");
    for (const char* path : {"a.b.2", "a.b.-1", "a.b.x", "a.c", "t.x", ".", "a."}) {
        EXPECT_EQ(ctl::find(value, path), nullptr) << path;
    }
    EXPECT_EQ(ctl::numberAt(value, "t"), std::nullopt);
    EXPECT_EQ(ctl::numberAt(ctl::parseJson("[18446744073709551615]"), "0"), std::nullopt);
}

TEST(JsonTest, WhatIsPrintedHasNoControlCharactersAndIsTheSame)
{
    const ctl::Json value =
        ctl::parseJson("{\"k\\u202e\": \"\\u001b[2J \\u0085 \xE7\xBA\xBF \\u007f \\n\"}");
    const std::string text = ctl::printed(value, ctl::Layout::kOneLine);
    EXPECT_EQ(text, "{\"k\\u202e\":\"\\u001b[2J \\u0085 \xE7\xBA\xBF \\u007f \\n\"}");
    EXPECT_EQ(ctl::parseJson(text), value);
}

TEST(JsonTest, RefusesWhatIsNoneOrTooDeep)
{
    for (const std::string& each :
         {std::string(""), std::string("{"), std::string("{} x"), std::string("\"\xFF\""),
          std::string(1000000, '['), std::string(33, '[') + std::string(33, ']')}) {
        EXPECT_THROW(static_cast<void>(ctl::parseJson(each)), std::invalid_argument)
            << each.substr(0, 20);
    }
    EXPECT_NO_THROW(static_cast<void>(ctl::parseJson(std::string(32, '[') + std::string(32, ']'))));
}

TEST(WordsTest, TimesAreThoseOfGreenwichFromTheFirstYearToTheLast)
{
    EXPECT_EQ(ctl::timeText(0), "1970-01-01 00:00:00Z");
    EXPECT_EQ(ctl::timeText(-1), "1969-12-31 23:59:59Z");
    EXPECT_EQ(ctl::timeText(951782400000), "2000-02-29 00:00:00Z");
    EXPECT_EQ(ctl::timeText(951868800000), "2000-03-01 00:00:00Z");
    EXPECT_EQ(ctl::timeText(1735689599000), "2024-12-31 23:59:59Z");
    EXPECT_EQ(ctl::timeText(1767326645999), "2026-01-02 04:04:05Z");
    EXPECT_EQ(ctl::timeText(4102444799000), "2099-12-31 23:59:59Z");
    EXPECT_EQ(ctl::timeText(253402300799000), "9999-12-31 23:59:59Z");
    EXPECT_EQ(ctl::timeText(253402300800000), "unknown time");
    EXPECT_EQ(ctl::timeText(-62135596800000), "0001-01-01 00:00:00Z");
    EXPECT_EQ(ctl::timeText(-62135596800001), "unknown time");
    EXPECT_EQ(ctl::timeText(INT64_MAX), "unknown time");
    EXPECT_EQ(ctl::timeText(INT64_MIN), "unknown time");
}

TEST(WordsTest, DurationsAndSizesAreShort)
{
    EXPECT_EQ(ctl::durationText(59999), "59 s");
    EXPECT_EQ(ctl::durationText(60000), "1 min");
    EXPECT_EQ(ctl::durationText(3600000), "1 h 0 min");
    EXPECT_EQ(ctl::durationText(48 * 3600000LL), "2 days");
    EXPECT_EQ(ctl::bytesText(1023), "1023 bytes");
    EXPECT_EQ(ctl::bytesText(1536), "1.5 KiB");
    EXPECT_EQ(ctl::bytesText(20 * 1024 * 1024), "20.0 MiB");
    EXPECT_EQ(ctl::bytesText(INT64_MAX), "8191.9 PiB");
}

TEST(RpcMethodsTest, ThereAreTwentyOne)
{
    EXPECT_EQ(ctl::rpcMethods().size(), 21U);
    for (const ctl::RpcMethod& each : ctl::rpcMethods()) {
        EXPECT_EQ(ctl::findRpcMethod(each.name), &each);
    }
}

TEST(SettingsFileTest, WhatIsExportedIsReadAgainAsItWas)
{
    const ctl::Json settings = ctl::parseJson(R"({"settings": {
        "server": "a\"b\\c\td\u007f", "port": 1194, "user": "\u7ebf", "password": "p'\"",
        "certificates": "-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n",
        "device_number": "", "device_name": "x", "beat_interval": 30,
        "enabled": true, "online": false, "connect": true}})");
    // As sets of fields: TOML has no order.
    using Fields = nlohmann::json;
    EXPECT_EQ(Fields(ctl::settingsOfToml(ctl::settingsAsToml(settings), "f")),
              Fields(settings.at("settings")));
    const ctl::Json odd = ctl::parseJson(R"({"settings": {"certificates": "''' x\u0001"}})");
    EXPECT_EQ(ctl::settingsOfToml(ctl::settingsAsToml(odd), "f"), odd.at("settings"));
}

// What is wrong with such a file.
std::string wrongIn(const std::string& text)
{
    try {
        static_cast<void>(ctl::settingsOfToml(text, "f"));
        return "nothing";
    } catch (const ctl::Failure& failure) {
        EXPECT_EQ(failure.exitCode(), ctl::kExitUsage);
        return failure.what();
    }
}

TEST(SettingsFileTest, TellsWhatIsWrongWithLineAndKeyAndNoValue)
{
    EXPECT_EQ(wrongIn("\nport = \"hush\""), "f:2: port: a whole number would be right");
    EXPECT_EQ(wrongIn("password = 12345"), "f:1: password: a text in quotes would be right");
    EXPECT_EQ(wrongIn("enabled = 1"), "f:1: enabled: true or false would be right");
    EXPECT_EQ(wrongIn("sever = 1"), "f:1: there is no setting 'sever'; the nearest is 'server'");
    EXPECT_EQ(wrongIn("password = hush"), "f:1: this is not TOML");
    EXPECT_EQ(wrongIn(""), "f: there is no setting in it");
    EXPECT_EQ(wrongIn("\na = " + std::string(100, '[')), "f:2: nested too deep");
}

}  // namespace
