#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// The worked examples of docs/rpc-protocol.md, read from the page itself.
namespace protocol_page
{

using Value = std::variant<std::string, std::int32_t, bool>;

struct Example {
    bool isRequest = false;
    std::string method;
    // Of a reply: none, error, string, int, bool or DeviceVPNInfo; empty for a request.
    std::string type;
    // The arguments, or the result: the fields of a record in their order, the text of an error.
    std::vector<Value> values;
    std::uint32_t callId = 0;
    // The whole frame, its length included.
    std::vector<unsigned char> bytes;
};

// Takes pieces off the first line of a block; raises std::runtime_error on what does not fit.
class HeadParser
{
public:
    explicit HeadParser(std::string_view line) : m_left(line) {}

    bool skip(std::string_view text)
    {
        if (m_left.substr(0, text.size()) != text) return false;
        m_left.remove_prefix(text.size());
        return true;
    }
    void expect(std::string_view text)
    {
        if (!skip(text)) throw std::runtime_error("expected '" + std::string(text) + "'");
    }
    std::string until(char end)
    {
        const std::size_t length = m_left.find(end);
        if (length == std::string_view::npos) throw std::runtime_error(std::string("no ") + end);
        const std::string piece(m_left.substr(0, length));
        m_left.remove_prefix(length + 1);
        return piece;
    }
    std::int64_t number()
    {
        char* end = nullptr;
        const std::string text(m_left);
        const long long value = std::strtoll(text.c_str(), &end, 10);
        if (end == text.c_str()) throw std::runtime_error("expected a number");
        m_left.remove_prefix(static_cast<std::size_t>(end - text.c_str()));
        return value;
    }
    Value value()
    {
        if (skip("\"")) return until('"');
        if (skip("true")) return true;
        if (skip("false")) return false;
        return static_cast<std::int32_t>(number());
    }
    bool atEnd() const { return m_left.empty(); }

private:
    std::string_view m_left;
};

// request NAME(VALUE, ...) id N, or reply NAME TYPE(VALUE, ...) id N
inline Example parseHead(std::string_view line)
{
    Example example;
    HeadParser head(line);
    example.isRequest = head.skip("request ");
    if (example.isRequest) {
        example.method = head.until('(');
    } else {
        head.expect("reply ");
        example.method = head.until(' ');
        example.type = head.until('(');
    }
    while (!head.skip(")")) {
        if (!example.values.empty()) head.expect(", ");
        example.values.push_back(head.value());
    }
    head.expect(" id ");
    example.callId = static_cast<std::uint32_t>(head.number());
    if (!head.atEnd()) throw std::runtime_error("something behind the call id");
    return example;
}

// Pairs of hexadecimal digits, one blank between them, up to two blanks or the end.
inline void parseBytes(std::string_view line, std::vector<unsigned char>& bytes)
{
    line = line.substr(0, line.find("  "));
    if (line.size() % 3 != 2) throw std::runtime_error("bytes expected");
    for (std::size_t i = 0; i < line.size(); i += 3) {
        const std::string digits(line.substr(i, 2));
        char* end = nullptr;
        const unsigned long byte = std::strtoul(digits.c_str(), &end, 16);
        if (end != digits.c_str() + 2 || (i + 2 < line.size() && line[i + 2] != ' ')) {
            throw std::runtime_error("bytes expected");
        }
        bytes.push_back(static_cast<unsigned char>(byte));
    }
}

// All examples in the order of the page. Raises std::runtime_error, with the
// line, when the page cannot be read or an example is not laid out as it should be.
inline std::vector<Example> load(const std::string& path)
{
    std::ifstream page(path);
    if (!page) throw std::runtime_error("cannot read " + path);
    std::vector<Example> examples;
    enum { kText, kFirstLine, kExample, kOtherBlock } place = kText;
    std::string line;
    for (int number = 1; std::getline(page, line); ++number) {
        try {
            if (line.substr(0, 3) == "```") {
                place = place == kText ? kFirstLine : kText;
            } else if (place == kFirstLine) {
                const bool isExample =
                    line.substr(0, 8) == "request " || line.substr(0, 6) == "reply ";
                place = isExample ? kExample : kOtherBlock;
                if (isExample) examples.push_back(parseHead(line));
            } else if (place == kExample) {
                parseBytes(line, examples.back().bytes);
            }
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return examples;
}

}  // namespace protocol_page
