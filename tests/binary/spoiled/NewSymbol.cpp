#include <sys/random.h>

// Of glibc 2.25.
extern "C" long spoiledCall(void* target);
extern "C" long spoiledCall(void* target) { return getrandom(target, 1, 0); }
