// g++ 11 and newer ask glibc 2.32 whether the process has one thread only, in std::string
// of the older ABI, std::shared_ptr and all of a static libstdc++. The linker takes this
// answer instead, always "no", so that older panels load the driver.
extern "C" {
extern const char kProcessIsSingleThreaded;
const char kProcessIsSingleThreaded = 0;
}
