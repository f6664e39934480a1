#include "service/base/LogSink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spdlog/logger.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

using std::chrono::milliseconds;
using vpnd::LogSink;

// A log into a pipe, whose other end the test reads or does not.
class LogSinkTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(::pipe2(m_ends, O_CLOEXEC), 0);
        ::fcntl(m_ends[1], F_SETPIPE_SZ, 4096);
        ::fcntl(m_ends[0], F_SETFL, O_NONBLOCK);
        begin();
    }
    void begin()
    {
        sink = std::make_shared<LogSink>(m_ends[1]);
        sink->set_pattern("%v");
    }
    void TearDown() override
    {
        // A writer that is left behind ends with its pipe.
        ::close(m_ends[0]);
        sink.reset();
        if (m_ends[1] >= 0) ::close(m_ends[1]);
    }
    void leaveOpen() { m_ends[1] = -1; }

    void log(const std::string& text)
    {
        sink->log({"", spdlog::level::info, spdlog::string_view_t(text.data(), text.size())});
    }
    const std::string& text()
    {
        char chunk[4096];
        for (ssize_t count = 0; (count = ::read(m_ends[0], chunk, sizeof chunk)) > 0;) {
            m_text.append(chunk, static_cast<std::size_t>(count));
        }
        return m_text;
    }
    const std::string& readText() const { return m_text; }
    bool soon(const std::string& wanted)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (text().find(wanted) == std::string::npos) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            pollfd readable = {m_ends[0], POLLIN, 0};
            ::poll(&readable, 1, 10);
        }
        return true;
    }
    std::vector<std::string> lines()
    {
        std::vector<std::string> all;
        std::istringstream in(text());
        for (std::string line; std::getline(in, line);) all.push_back(line);
        return all;
    }
    int writeEnd() const { return m_ends[1]; }

    std::shared_ptr<LogSink> sink;

private:
    int m_ends[2] = {-1, -1};
    std::string m_text;
};

TEST_F(LogSinkTest, AllLinesAreWrittenInTheirOrder)
{
    for (int i = 0; i < 100; ++i) log("line " + std::to_string(i));
    sink->finish(std::chrono::seconds(20));
    const std::vector<std::string> all = lines();
    ASSERT_EQ(all.size(), 100u);
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i], "line " + std::to_string(i));
}

TEST_F(LogSinkTest, ALineIsWrittenWithoutWaitingForTheNext)
{
    log("first");
    EXPECT_TRUE(soon("first\n"));
    log("second");
    EXPECT_TRUE(soon("second\n"));
}

TEST_F(LogSinkTest, NobodyWaitsForAReaderThatDoesNotReadAndTheGapIsCounted)
{
    constexpr int kLines = 50000;
    for (int i = 0; i < kLines; ++i) log("line " + std::to_string(i));
    // Reads after all. There may be several gaps: the writer goes on while lines come.
    int written = 0;
    int dropped = 0;
    const auto count = [&] {
        written = dropped = 0;
        std::vector<std::string> all = lines();
        if (!all.empty() && readText().back() != '\n') all.pop_back();
        for (const std::string& line : all) {
            const std::size_t at = line.find(" lines of the log were dropped here");
            if (at == std::string::npos) {
                EXPECT_EQ(line, "line " + std::to_string(written + dropped));
                ++written;
            } else {
                EXPECT_NE(line.find("[orva-vpnd] [warning] "), std::string::npos) << line;
                dropped += std::stoi(line.substr(line.rfind(' ', at - 1) + 1));
            }
        }
        return written + dropped;
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (count() < kLines && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    EXPECT_GT(written, 1000);
    EXPECT_GT(dropped, 1000);
    EXPECT_EQ(written + dropped, kLines);
    log("behind the gap");
    EXPECT_TRUE(soon("behind the gap\n"));
}

TEST_F(LogSinkTest, WhatWaitsIsBounded)
{
    log(std::string(LogSink::kMostBytes, 'x'));
    EXPECT_TRUE(soon(" 1 lines of the log were dropped here\n"));
    EXPECT_EQ(text().find('x'), std::string::npos);
    log("next");
    EXPECT_TRUE(soon("next\n"));
}

TEST_F(LogSinkTest, TheEndDoesNotWaitForAReaderThatDoesNotRead)
{
    for (int i = 0; i < 50000; ++i) log("line " + std::to_string(i));
    const auto begin = std::chrono::steady_clock::now();
    sink->finish(milliseconds(50));
    sink.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    leaveOpen();  // for the thread that is left behind
}

TEST_F(LogSinkTest, AReaderThatIsGoneHoldsUpNothing)
{
    int other[2];
    ASSERT_EQ(::pipe2(other, O_CLOEXEC), 0);
    ::close(other[0]);
    LogSink gone(other[1]);
    for (int i = 0; i < 1000; ++i) gone.print("a line for nobody\n");
    const auto begin = std::chrono::steady_clock::now();
    gone.finish(std::chrono::seconds(20));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    ::close(other[1]);
}

TEST_F(LogSinkTest, ADescriptorThatSomebodyMadeNonBlockingGetsAllLinesToo)
{
    ::fcntl(writeEnd(), F_SETFL, O_NONBLOCK);
    for (int i = 0; i < 4000; ++i) log("line " + std::to_string(i));
    EXPECT_TRUE(soon("line 3999\n"));
    EXPECT_EQ(lines().size(), 4000u);
}

TEST_F(LogSinkTest, TheDescriptorStaysAsItIs)
{
    const int before = ::fcntl(writeEnd(), F_GETFL);
    log("line");
    EXPECT_TRUE(soon("line"));
    EXPECT_EQ(::fcntl(writeEnd(), F_GETFL), before);
}

}  // namespace
