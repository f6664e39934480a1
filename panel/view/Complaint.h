#pragma once

#include <string>

namespace panel
{

// A line on standard error, with the program's name in front.
void complain(const std::string& line);

}  // namespace panel
