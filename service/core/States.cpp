#include "service/core/States.h"

#include <cstddef>

namespace vpnd
{

const char* nameOf(TunnelStage stage)
{
    if (stage == TunnelStage::kFault) return "fault";
    return states()[static_cast<std::size_t>(stage)].name;
}

}  // namespace vpnd
