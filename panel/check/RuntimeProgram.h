#pragma once

#include "panel/check/Finding.h"
#include "panel/check/NeededLibraries.h"

#include <string>
#include <string_view>
#include <vector>

namespace panel
{

// The functions that a runtime offers to its drivers.
constexpr std::string_view kHostFunctions[] = {"Orva_GetTickCount", "watch_dog_report"};

// The program that will load the driver, as the dynamic loader will see it.
class RuntimeProgram
{
public:
    // Raises ElfError when the bytes are no such file.
    RuntimeProgram(std::vector<unsigned char> bytes, const std::vector<std::string>& folders);

    // Whether a library that it loads finds the symbol in it or in its libraries.
    bool offers(std::string_view name) const;

    // How the library and this program fit.
    std::vector<Finding> check(const ElfFile& library) const;

private:
    Finding missing(std::string_view function) const;

    ElfFile m_file;
    NeededLibraries m_needed;
};

}  // namespace panel
