#pragma once

#include "common/Reasons.h"

namespace vpnd
{

using common::Effect;
using common::findReason;
using common::Reason;
using common::reasons;
using common::ReasonText;

}  // namespace vpnd
