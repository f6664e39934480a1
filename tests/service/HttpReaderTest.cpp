#include "service/control/HttpReader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace
{

using vpnd::HttpReader;
using vpnd::Refusal;
using Step = HttpReader::Step;

constexpr const char* kHost = "Host: localhost\r\n";

// What is read of the bytes, and whether byte by byte comes to the same.
Step readAll(HttpReader& reader, const std::string& bytes)
{
    std::string input = bytes;
    const Step step = reader.read(input);
    HttpReader slow;
    Step last = Step::kNeedsMore;
    std::string piece;
    for (std::size_t i = 0; i < bytes.size() && last == Step::kNeedsMore; ++i) {
        piece += bytes[i];
        last = slow.read(piece);
    }
    EXPECT_EQ(last, step) << bytes.substr(0, 200);
    if (step == Step::kDone) {
        EXPECT_EQ(slow.request().body, reader.request().body);
        EXPECT_EQ(slow.request().path, reader.request().path);
    } else if (step == Step::kRefused) {
        EXPECT_EQ(slow.refusal(), reader.refusal());
    }
    return step;
}

Refusal refusalOf(const std::string& bytes)
{
    HttpReader reader;
    EXPECT_EQ(readAll(reader, bytes), Step::kRefused) << bytes.substr(0, 200);
    return reader.refusal();
}

vpnd::HttpRequest requestOf(const std::string& bytes)
{
    HttpReader reader;
    EXPECT_EQ(readAll(reader, bytes), Step::kDone) << bytes.substr(0, 200);
    return std::move(reader.request());
}

TEST(HttpReaderTest, ReadsMethodPathQueryAndBody)
{
    const auto request =
        requestOf(std::string("PATCH /v1/a%20b?after=1%2D2&x HTTP/1.1\r\n") + kHost +
                  "If-Match: \"5\"\r\nLast-Event-ID: 7-8\r\n"
                  "Content-Length: 4\r\n\r\nbody");
    EXPECT_EQ(request.method, "PATCH");
    EXPECT_EQ(request.path, "/v1/a b");
    EXPECT_EQ(request.query.at("after"), "1-2");
    EXPECT_EQ(request.query.at("x"), "");
    EXPECT_EQ(request.ifMatch, "\"5\"");
    EXPECT_EQ(request.lastEventId, "7-8");
    EXPECT_EQ(request.body, "body");
    EXPECT_TRUE(request.staysOpen);
    EXPECT_FALSE(request.isForeign);
}

TEST(HttpReaderTest, AChunkedBodyIsPutTogether)
{
    const auto request =
        requestOf(std::string("POST / HTTP/1.1\r\n") + kHost +
                  "Transfer-Encoding: chunked\r\n\r\n2\r\nbo\r\n2\r\ndy\r\n0\r\n\r\n");
    EXPECT_EQ(request.body, "body");
}

TEST(HttpReaderTest, WhatFollowsARequestIsLeft)
{
    std::string input = std::string("GET /a HTTP/1.1\r\n") + kHost + "\r\nGET /b HTTP/1.1\r\n";
    HttpReader reader;
    EXPECT_EQ(reader.read(input), Step::kDone);
    EXPECT_EQ(input, "GET /b HTTP/1.1\r\n");
}

TEST(HttpReaderTest, ARequestWithTwoEndsIsRefused)
{
    const std::string head = std::string("POST / HTTP/1.1\r\n") + kHost;
    const std::string chunked = "Transfer-Encoding: chunked\r\n";
    for (const std::string& lengths : std::vector<std::string>{
             "Content-Length: 4\r\nContent-Length: 4\r\n",
             "Content-Length: 4\r\nContent-Length: 5\r\n",
             "Content-Length: 4\r\n" + chunked,
             chunked + "Content-Length: 4\r\n",
             chunked + chunked,
             "Content-Length: 4, 4\r\n",
             "Content-Length: +4\r\n",
             "Content-Length: -1\r\n",
             "Content-Length: 4 \r\n x: y\r\n",
             "Content-Length: 99999999999999999999\r\n",
             "Content-Length : 4\r\n",
             "Transfer-Encoding: gzip, chunked\r\n",
             "Transfer-Encoding: gzip\r\n",
             "Transfer-Encoding: chunked\r\n chunked\r\n",
         }) {
        SCOPED_TRACE(lengths);
        const Refusal refusal = refusalOf(head + lengths + "\r\nbody");
        EXPECT_TRUE(refusal == Refusal::kBadRequest || refusal == Refusal::kBodyTooLarge);
    }
    EXPECT_EQ(refusalOf("POST / HTTP/1.0\r\n" + chunked + "\r\n0\r\n\r\n"), Refusal::kBadRequest);
}

TEST(HttpReaderTest, WhatIsNoRequestIsRefused)
{
    for (const std::string& bytes : std::vector<std::string>{
             "nonsense\r\n\r\n",
             std::string("GET / HTTP/1.1\n") + "Host: localhost\n\n",
             std::string("GET / HTTP/1.1\r\n") + kHost + "a: b\r\n c\r\n\r\n",
             std::string("GET / HTTP/1.1\r\n") + kHost + "a\r\n\r\n",
             std::string("GET / HTTP/2.0\r\n") + kHost + "\r\n",
             std::string("GET / HTTP/1.2\r\n") + kHost + "\r\n",
             std::string("GET http://localhost/ HTTP/1.1\r\n") + kHost + "\r\n",
             std::string("GET * HTTP/1.1\r\n") + kHost + "\r\n",
             std::string("GET /%2 HTTP/1.1\r\n") + kHost + "\r\n",
             std::string("GET /%zz HTTP/1.1\r\n") + kHost + "\r\n",
             std::string("GET /?a=1&a=2 HTTP/1.1\r\n") + kHost + "\r\n",
             std::string("GET / HTTP/1.1\r\n") + kHost + kHost + "\r\n",
             std::string("GET / HTTP/1.1\r\n\r\n"),
             std::string("GET / HTTP/1.1\r\n") + kHost + std::string("a: b\0c\r\n\r\n", 10),
         }) {
        EXPECT_EQ(refusalOf(bytes), Refusal::kBadRequest) << bytes;
    }
}

TEST(HttpReaderTest, HeadAndBodyHaveTheirLimits)
{
    const auto head = [](std::size_t bytes) {
        std::string text = std::string("GET / HTTP/1.1\r\n") + kHost + "a: ";
        return text + std::string(bytes - text.size() - 4, 'x') + "\r\n\r\n";
    };
    HttpReader reader;
    std::string fits = head(HttpReader::kMaxHeadBytes);
    EXPECT_EQ(reader.read(fits), Step::kDone);
    std::string tooLong = head(HttpReader::kMaxHeadBytes + 1);
    HttpReader other;
    EXPECT_EQ(other.read(tooLong), Step::kRefused);
    EXPECT_EQ(other.refusal(), Refusal::kHeadTooLarge);

    const auto body = [](std::size_t bytes) {
        return std::string("POST / HTTP/1.1\r\n") + kHost +
               "Content-Length: " + std::to_string(bytes) + "\r\n\r\n" + std::string(bytes, 'x');
    };
    HttpReader whole;
    std::string largest = body(HttpReader::kMaxBodyBytes);
    EXPECT_EQ(whole.read(largest), Step::kDone);
    HttpReader large;
    std::string larger = body(HttpReader::kMaxBodyBytes + 1);
    EXPECT_EQ(large.read(larger), Step::kRefused);
    EXPECT_EQ(large.refusal(), Refusal::kBodyTooLarge);

    std::string chunks =
        std::string("POST / HTTP/1.1\r\n") + kHost + "Transfer-Encoding: chunked\r\n\r\n";
    for (int i = 0; i < 17; ++i) chunks += "4000\r\n" + std::string(0x4000, 'x') + "\r\n";
    HttpReader chunked;
    EXPECT_EQ(chunked.read(chunks), Step::kRefused);
    EXPECT_EQ(chunked.refusal(), Refusal::kBodyTooLarge);
}

TEST(HttpReaderTest, ABrowserAndAnotherHostAreForeign)
{
    const auto isForeign = [](const std::string& headers) {
        return requestOf("GET / HTTP/1.1\r\n" + headers + "\r\n").isForeign;
    };
    EXPECT_TRUE(isForeign("Host: example.com\r\n"));
    EXPECT_TRUE(isForeign("Host: localhost.example.com\r\n"));
    EXPECT_TRUE(isForeign("Host: \r\n"));
    EXPECT_TRUE(isForeign(std::string(kHost) + "Origin: http://localhost\r\n"));
    EXPECT_TRUE(isForeign(std::string(kHost) + "referer: http://localhost/\r\n"));
    EXPECT_TRUE(isForeign(std::string(kHost) + "Sec-Fetch-Mode: cors\r\n"));
    EXPECT_FALSE(isForeign(kHost));
    EXPECT_FALSE(isForeign("Host: LOCALHOST:80\r\n"));
    EXPECT_FALSE(isForeign("Host: orva-vpnd\r\n"));
}

TEST(HttpReaderTest, OfExpectationsOneIsKnown)
{
    HttpReader reader;
    std::string input = std::string("POST / HTTP/1.1\r\n") + kHost +
                        "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n";
    EXPECT_EQ(reader.read(input), Step::kNeedsMore);
    EXPECT_TRUE(reader.takeWaitsForContinue());
    EXPECT_FALSE(reader.takeWaitsForContinue());
    EXPECT_EQ(refusalOf(std::string("POST / HTTP/1.1\r\n") + kHost + "Expect: coffee\r\n\r\n"),
              Refusal::kExpectation);
}

}  // namespace
