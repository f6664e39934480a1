#pragma once

namespace vpnd
{

// What has become of something that was asked for.
enum class Outcome {
    kDone,
    kInvalid,     // an argument is not acceptable; nothing changed
    kNotNow,      // acceptable, but the present state does not allow it
    kNotStored,   // could not be stored
    kNotAllowed,  // not for this caller; nothing changed
    kPending,     // being stored
};

// "done", "invalid", "not now", "not stored", "not allowed", "pending".
[[nodiscard]] const char* nameOf(Outcome outcome);

}  // namespace vpnd
