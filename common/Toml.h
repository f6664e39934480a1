#pragma once

// toml++ as all sources include it: without its assertions. Some of them stand before the very
// check of what they assert, so that a file with "[=" in it would end a debug build, and would
// be anything at all for a compiler that is told to assume them.
#define TOML_ASSERT(expression) static_assert(true)
#include <toml++/impl/preprocessor.h>
#undef TOML_ASSERT_ASSUME
#define TOML_ASSERT_ASSUME(expression) static_assert(true)
#include <toml++/toml.h>
