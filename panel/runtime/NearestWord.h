#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace panel
{

// The one of the words that differs least from the text, in whatever case: letters
// too many, too few, wrong or swapped with their neighbour. Empty when none has half
// of its letters in common with it.
std::string nearestWord(std::string_view text, const std::vector<std::string>& words);

}  // namespace panel
