#pragma once

#include "ctl/base/Json.h"

#include <set>
#include <string>
#include <string_view>

namespace ctl
{

constexpr const char* kMask = "********";

// Takes secrets out of what is about to leave the panel.
//
// A secret is what stands under a field of such a name ("password", "secret", "token", ...), what
// follows such a word and "=" or ":" in a text, and every block of PEM. learn() first all that
// there is: a value found in one place is then masked in all others, also where it is written
// in base64, hexadecimal digits or with % and two digits.
class Scrubber
{
public:
    // Remembers the values of secret fields.
    void learn(const Json& value);
    void learnSecret(const std::string& secret);

    [[nodiscard]] Json maskedJson(const Json& value) const;
    [[nodiscard]] std::string masked(std::string_view text) const;

private:
    std::set<std::string> m_forms;  // in which the secrets may be written
};

}  // namespace ctl
