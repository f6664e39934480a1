#pragma once

#include "platform/QZUtils.h"

namespace QZ::RPC
{

// The service in memory: reads the arguments of a call and writes its result. False for a
// method that it does not have. Raises Net::Exception when it is told to fail.
bool answer(const utils::String& method, utils::IBuffer& arguments, utils::IBuffer& result);

}  // namespace QZ::RPC
