#pragma once

#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/VariableStore.h"

#include <string>

namespace panel
{

// The command as it may be shown. Literals show only in commands whose word is
// known and that carry no secret; in every other one, a misspelt one included,
// what names no variable is masked, and so is all that stands where no command
// has anything.
std::string maskCommand(const std::string& command, const VariableStore& variables);

// Whether the command carries or reads a secret, or may be a misspelt one that
// does, and names the variable.
bool namesSecret(const std::string& command, const std::string& variable);

// Masks the texts among the written variables of a command that reads the password.
void maskWritten(const std::string& command, CallResult& result);

}  // namespace panel
