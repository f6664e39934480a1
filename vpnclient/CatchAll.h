#pragma once

#include <cxxabi.h>

// The forced unwind has no object that its handler's reference could bind to.
#define CATCHES_FORCED_UNWIND __attribute__((no_sanitize("null")))

// Runs body and returns its result; when it raises, whatever it is, that of
// failed instead. Only the forced unwind of a cancelled thread passes: a thread
// that stopped it would be ended with the whole process.
template <class Body, class Failed>
CATCHES_FORCED_UNWIND auto catchAll(Body body, Failed failed)
{
    try {
        return body();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return failed();
    }
}
