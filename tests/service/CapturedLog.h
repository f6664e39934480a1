#pragma once

#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

// The log's lines, as "level text", for as long as this lives.
class CapturedLog
{
public:
    CapturedLog() : m_sink(std::make_shared<Sink>()), m_before(spdlog::default_logger())
    {
        spdlog::set_default_logger(std::make_shared<spdlog::logger>("captured", m_sink));
        spdlog::set_level(spdlog::level::debug);
    }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    ~CapturedLog()
    {
        spdlog::set_default_logger(m_before);
        spdlog::set_level(spdlog::level::off);
    }

    std::string text() const
    {
        std::string all;
        for (const std::string& line : m_sink->lines) all += line + '\n';
        return all;
    }
    // The lines since the last call.
    std::vector<std::string> take() { return std::exchange(m_sink->lines, {}); }

private:
    class Sink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex>
    {
    public:
        std::vector<std::string> lines;

    private:
        void sink_it_(const spdlog::details::log_msg& message) override
        {
            const auto level = spdlog::level::to_string_view(message.level);
            lines.push_back(std::string(level.data(), level.size()) + " " +
                            std::string(message.payload.data(), message.payload.size()));
        }
        void flush_() override {}
    };

    std::shared_ptr<Sink> m_sink;
    std::shared_ptr<spdlog::logger> m_before;
};
