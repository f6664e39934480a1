#pragma once

#include "panel/ElfFile.h"

#include <string>
#include <vector>

namespace panel
{

// What a library asks for and does not get.
struct MissingSymbols {
    std::vector<std::string> symbols;    // in none of the libraries that were found
    std::vector<std::string> libraries;  // needed ones that were not found
    std::vector<std::string> versions;   // "NAME in LIBRARY", which has others
};

// Looks for the needed libraries and for what these need in turn, in the
// folders in their order, and in them for every symbol that must be there.
// Files for another processor are passed over. Loads nothing.
MissingSymbols findMissingSymbols(const ElfFile& file, const std::vector<std::string>& folders);

}  // namespace panel
