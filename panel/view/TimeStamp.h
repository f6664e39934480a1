#pragma once

#include <string>
#include <string_view>

namespace panel
{

// The time now, for people on the clock of their place: "19:11:08.123".
std::string clockTime();
// For programs: "2026-11-20T18:11:08.123Z".
std::string universalTime();

// The lines of the text, each with the time now in front.
std::string stamped(std::string_view text);

}  // namespace panel
