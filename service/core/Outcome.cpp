#include "service/core/Outcome.h"

namespace vpnd
{

const char* nameOf(Outcome outcome)
{
    switch (outcome) {
        case Outcome::kDone:
            return "done";
        case Outcome::kInvalid:
            return "invalid";
        case Outcome::kNotNow:
            return "not now";
        case Outcome::kNotStored:
            return "not stored";
        case Outcome::kNotAllowed:
            return "not allowed";
        case Outcome::kPending:
            break;
    }
    return "pending";
}

}  // namespace vpnd
