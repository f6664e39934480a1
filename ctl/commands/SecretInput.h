#pragma once

#include <cstddef>
#include <string>

namespace ctl
{

constexpr std::size_t kMaxSecretBytes = 1024;

// A secret from standard input: of a terminal one line, after the prompt (on standard error)
// and without echo, else all that there is, without the line end behind it.
//
// A signal that ends the program meanwhile does so after the echo is back. Raises Failure
// when there is none, more than one line, too long a one, or none within five minutes.
[[nodiscard]] std::string readSecret(const std::string& prompt);

}  // namespace ctl
