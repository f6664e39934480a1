#include "common/Descriptor.h"
#include "service/net/SocketLookup.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>

// Lines of the tables, behind one of titles; lengths of fields differ, their order does not:
//    0: 0100007F:2331 0100007F:8A2C 01 00000000:00000000 00:00000000 00000000  1000  0 31337 …
// with the number in its table, own and other end, state, and behind three fields more the
// user, a time-out and the inode.
namespace vpnd
{
namespace
{

using Result = SocketLookup::Result;

constexpr std::size_t kTableBytesAtMost = 4 * 1024 * 1024;

// An address is one number of the processor for each four bytes.
std::string textOf(const SocketAddress& address, bool inV4Table)
{
    std::string text;
    char number[16];
    for (std::size_t at = inV4Table ? 12 : 0; at < address.bytes.size(); at += 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, address.bytes.data() + at, sizeof word);
        std::snprintf(number, sizeof number, "%08X", word);
        text += number;
    }
    std::snprintf(number, sizeof number, ":%04X", static_cast<unsigned int>(address.port));
    return text + number;
}

// Takes the next field off a line.
std::string_view takeField(std::string_view& line)
{
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const std::string_view field = line.substr(0, line.find(' '));
    line.remove_prefix(field.size());
    return field;
}

template <class Number>
bool readNumber(std::string_view field, int base, Number& number)
{
    const char* const last = field.data() + field.size();
    const auto [end, error] = std::from_chars(field.data(), last, number, base);
    return error == std::errc() && end == last && !field.empty();
}

SocketLookup readOwner(std::string_view line)
{
    SocketOwner owner;
    bool isRight = readNumber(takeField(line), 16, owner.state);
    for (int skipped = 0; skipped < 3; ++skipped) takeField(line);
    isRight = readNumber(takeField(line), 10, owner.uid) && isRight;
    takeField(line);
    isRight = readNumber(takeField(line), 10, owner.inode) && isRight;
    if (!isRight) return {};
    return {Result::kFound, owner};
}

SocketLookup lookUpInTable(const std::string& path, const std::string& ends)
{
    const common::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) return {};
    std::array<char, 16 * 1024> bytes;
    std::size_t held = 0;  // the beginning of a line
    for (std::size_t total = 0; total < kTableBytesAtMost;) {
        const ssize_t got = ::read(file.get(), bytes.data() + held, bytes.size() - held);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return {};
        if (got == 0) return {Result::kNone, {}};
        total += static_cast<std::size_t>(got);
        held += static_cast<std::size_t>(got);
        std::string_view lines(bytes.data(), held);
        lines = lines.substr(0, lines.rfind('\n') + 1);
        if (lines.empty() && held == bytes.size()) return {};
        const std::size_t at = lines.find(ends);
        if (at != std::string_view::npos) {
            lines.remove_prefix(at + ends.size());
            return readOwner(lines.substr(0, lines.find('\n')));
        }
        held -= lines.size();
        std::memmove(bytes.data(), bytes.data() + lines.size(), held);
    }
    return {};
}

}  // namespace

SocketLookup lookUpInTables(const char* folder, const SocketEnds& ends)
{
    const auto textOfEnds = [&](bool inV4Table) {
        return " " + textOf(ends.own, inV4Table) + " " + textOf(ends.other, inV4Table) + " ";
    };
    const std::string path = std::string(folder) + "/tcp";
    SocketLookup inV4;
    if (ends.own.isV4()) inV4 = lookUpInTable(path, textOfEnds(true));
    if (inV4.result == Result::kFound) return inV4;
    // Sockets for both families have addresses of IPv4 there.
    const SocketLookup inV6 = lookUpInTable(path + "6", textOfEnds(false));
    // There is no second table where the system has no IPv6.
    return inV6.result == Result::kFailed ? inV4 : inV6;
}

}  // namespace vpnd
