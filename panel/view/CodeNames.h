#pragma once

#include <string>
#include <string_view>

namespace panel
{

// The call that a code came back from: the same number means different things.
enum class CodeOf { kInit, kCollect, kCommand, kWrite };

// The code's meaning in a few words.
std::string_view meaningOf(CodeOf call, int code);

// The number as the documentation writes it: 7, -3, 0x80000001.
std::string codeText(int code);

// "the driver refused to start the device: code 0x80000001 (configuration refused)".
std::string refusalText(int status);

// "code 7 (VPN enabled, not connected)".
std::string codeWithMeaning(CodeOf call, int code);

}  // namespace panel
