#pragma once

#include "common/Refusals.h"

namespace vpnd
{

using common::findRefusal;
using common::Refusal;
using common::refusals;
using common::RefusalText;

}  // namespace vpnd
