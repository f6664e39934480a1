#pragma once

#include "host/HostInterface.h"

// The host's value types by number, which is the contract: a runtime's own header may give
// its enumerators other names.
constexpr DATATYPE kDataInt = static_cast<DATATYPE>(1);     // 32-bit signed integer
constexpr DATATYPE kDataDouble = static_cast<DATATYPE>(2);  // 64-bit IEEE 754
constexpr DATATYPE kDataString = static_cast<DATATYPE>(3);  // text
