#pragma once

#include "panel/DeviceSession.h"
#include "panel/VariableStore.h"

#include <string>

namespace panel
{

// The command as it may be shown. In commands that carry a password or a
// certificate every field that names no variable is masked; the value of a
// write to the password channel always.
std::string maskCommand(const std::string& command, const VariableStore& variables);

// Whether the command carries a password or a certificate and names the
// variable as one of its fields.
bool namesSecret(const std::string& command, const std::string& variable);

// Masks the texts among the written variables of a command that reads the password.
void maskWritten(const std::string& command, CallResult& result);

}  // namespace panel
