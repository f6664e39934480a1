#pragma once

#include "common/Reasons.h"
#include "service/core/ITunnel.h"

namespace vpnd
{

using common::kStateDisabled;
using common::kStateFaultBase;
using common::states;
using common::StateText;

// "connected"; "fault" for kFault.
[[nodiscard]] const char* nameOf(TunnelStage stage);

}  // namespace vpnd
