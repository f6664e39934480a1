// Loads the driver and runs ten-channel cycles, the last one between two marks
// that strace sees: writes to a descriptor that does not exist.

#include "tests/scripted/FakeHost.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace
{

class NumberRtdb : public scripted::FakeRtdb
{
public:
    int SetChannelInt(int, int) override { return ++count; }
    int SetChannelString(int, const std::string&) override { return ++count; }
    int count = 0;
};

void mark()
{
    if (write(-1, "mark", 4) == 0) std::puts("descriptor -1 exists");
}

}  // namespace

int main(int, char** arguments)
{
    void* library = dlopen(arguments[1], RTLD_NOW);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    const auto create = reinterpret_cast<IDeviceCtrl* (*)(const char*, IDevRtdbCtrl*)>(
        dlsym(library, "CreateDeviceCtrl"));
    NumberRtdb host;
    host.declareChannels();
    IDeviceCtrl* device = create("VPN_1", &host);
    const unsigned char blob[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
    device->InitDevice(blob, sizeof blob);
    const std::vector<int> wanted(10, 1);
    for (int cycle = 0; cycle < 3; ++cycle) device->CollectDevData(wanted.data(), 10);
    host.count = 0;
    mark();
    const int code = device->CollectDevData(wanted.data(), 10);
    mark();
    device->CleanupDevice();
    return code == 1 || host.count != 10 ? 1 : 0;
}
