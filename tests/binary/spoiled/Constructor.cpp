#include <cstdlib>

// Without a name of its own in the list of constructors.
__attribute__((constructor)) static void runsWhenLoaded()
{
    if (std::getenv("SPOILED") != nullptr) std::abort();
}
