#pragma once

#include <optional>
#include <string>

namespace vpnd
{

// What is shown instead of running.
enum class Show { kSettings, kHistory };

// What the command line asks for. What it does not name is left to the configuration.
struct Options {
    std::string config;  // empty: the usual file, where it is there
    bool checkConfig = false;
    std::optional<Show> show;
    bool noConnect = false;
    // These win over the file.
    std::optional<std::string> listen;
    std::optional<std::string> state;    // a folder or "none"
    std::optional<std::string> control;  // a socket or "none"
    std::optional<std::string> deviceName;
    std::optional<std::string> serial;
    std::optional<std::string> logLevel;
};

struct CommandLine {
    std::optional<Options> options;  // nothing: print the text and end
    std::string text;                // help or version, or what is wrong
    bool isWrong = false;            // the text belongs to standard error
};

// Judges every value that it takes over.
[[nodiscard]] CommandLine readCommandLine(int argc, const char* const* argv);

}  // namespace vpnd
