#pragma once

#include <string>
#include <vector>

// Inputs and results of everything in the driver that converts numbers, texts
// and bytes, one line each: operation, arguments, "=", results. Numbers stand as
// their bit patterns, texts in quotes with odd bytes as \xNN.
std::vector<std::string> goldenTable();
