#pragma once

#include <string>

namespace panel
{

// A line on standard error, with the program's name in front and without control
// characters: names of files and texts from other people may stand in it.
void complain(const std::string& line);

}  // namespace panel
