#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace common
{

// The one of the words that differs least from the text, in whatever case: letters
// too many, too few or wrong. Empty when all differ by more than half of their letters.
std::string nearestWord(std::string_view text, const std::vector<std::string>& words);

}  // namespace common
