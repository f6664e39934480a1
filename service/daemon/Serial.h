#pragma once

#include <string>

namespace vpnd
{

// Without any source.
constexpr const char* kUnknownSerial = "ORVA-000000";

struct SerialNumber {
    std::string text;     // empty where there is a problem
    std::string problem;  // never tells what a file holds
};

// The number that a file holds; blanks, line ends and zero bytes behind it do not count.
[[nodiscard]] SerialNumber serialFromFile(const std::string& path);

// "ORVA-" and 12 hexadecimal digits that depend on the machine's id alone and do not tell it:
// machine-id(5) asks that the id itself stays inside the machine.
[[nodiscard]] SerialNumber serialFromMachineId(const std::string& path);

}  // namespace vpnd
