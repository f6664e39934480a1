#include "ctl/commands/InputFile.h"

#include "common/ReadFile.h"
#include "ctl/base/Failure.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

namespace ctl
{
namespace
{

std::string readStandardInput(std::size_t maxBytes)
{
    std::string text;
    std::array<char, 4096> bytes{};
    while (true) {
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            throw Failure(kExitUsage,
                          std::string("cannot read standard input: ") + std::strerror(errno));
        }
        if (count == 0) return text;
        text.append(bytes.data(), static_cast<std::size_t>(count));
        if (text.size() > maxBytes) {
            throw Failure(kExitUsage,
                          "standard input is longer than " + std::to_string(maxBytes) + " bytes");
        }
    }
}

}  // namespace

std::string readInput(const std::string& path, std::size_t maxBytes)
{
    if (path == "-") return readStandardInput(maxBytes);
    const common::FileContent file = common::readFile(path, maxBytes);
    if (!file.problem.empty()) {
        throw Failure(kExitUsage, "cannot read " + path + ": " + file.problem);
    }
    return std::string(file.bytes.begin(), file.bytes.end());
}

long long wholeNumber(const std::string& text, const std::string& what)
{
    long long number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end) {
        throw Failure(kExitUsage, what + " '" + text + "': a whole number would be right");
    }
    return number;
}

}  // namespace ctl
