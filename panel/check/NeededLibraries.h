#pragma once

#include "panel/check/ElfFile.h"

#include <deque>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace panel
{

// The libraries that a file needs and those that these need in turn, looked for in
// the folders in their order. Files for another processor are passed over. Loads
// nothing. Stays where it is: the names point into the opened files.
class NeededLibraries
{
public:
    NeededLibraries(const ElfFile& file, const std::vector<std::string>& folders);
    NeededLibraries(const NeededLibraries&) = delete;
    NeededLibraries& operator=(const NeededLibraries&) = delete;

    bool define(std::string_view name) const { return m_names.count(name) != 0; }

    std::vector<std::string> notFound;
    std::vector<std::string> missingVersions;  // "NAME in LIBRARY", which has others

private:
    std::deque<ElfFile> m_opened;
    std::unordered_set<std::string_view> m_names;
};

}  // namespace panel
