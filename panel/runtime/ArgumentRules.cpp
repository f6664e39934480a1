#include "panel/runtime/ArgumentRules.h"

#include <arpa/inet.h>
#include <algorithm>
#include <climits>
#include <cstdlib>

namespace panel
{

namespace
{

// Not those of <cctype>: the locale has no say here.
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// 6 to 32 characters that all are of that kind.
template <class Is>
bool isCredential(const std::string& text, Is is)
{
    return text.size() >= 6 && text.size() <= 32 && std::all_of(text.begin(), text.end(), is);
}

// As inet_ntoa() would print it: 10.1 and 010.0.0.1 are none.
bool isDottedQuad(const std::string& text)
{
    in_addr address = {};
    char canonical[INET_ADDRSTRLEN] = {};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 && address.s_addr != INADDR_NONE &&
           ::inet_ntop(AF_INET, &address, canonical, sizeof canonical) != nullptr &&
           text == canonical;
}

}  // namespace

bool fits(ArgumentRule rule, const std::string& text)
{
    switch (rule) {
        case ArgumentRule::kDottedQuad:
            return isDottedQuad(text);
        case ArgumentRule::kPassword:
            return isCredential(text, [](char c) { return isLetter(c) || isDigit(c); });
        case ArgumentRule::kUserName:
            return isCredential(text, isLetter);
        case ArgumentRule::kPort:
        case ArgumentRule::kSeconds:
        case ArgumentRule::kAny:
            break;
    }
    return true;
}

bool fits(ArgumentRule rule, int number)
{
    if (rule == ArgumentRule::kPort) return number >= 1 && number <= 65535;
    if (rule == ArgumentRule::kSeconds) return number >= 1 && number <= 3600;
    return true;
}

std::optional<int> wholeNumberOf(const std::string& text)
{
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    const long long number = std::strtoll(text.c_str(), &end, 10);
    if (end != text.c_str() + text.size()) return std::nullopt;
    return static_cast<int>(std::clamp<long long>(number, INT_MIN, INT_MAX));
}

int truncatedNumber(const Value& value)
{
    if (const int* number = std::get_if<int>(&value)) return *number;
    const double* number = std::get_if<double>(&value);
    if (number == nullptr || !(*number > INT_MIN)) return INT_MIN;
    return *number >= INT_MAX ? INT_MAX : static_cast<int>(*number);
}

}  // namespace panel
