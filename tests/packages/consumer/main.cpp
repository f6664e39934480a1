// A host as somebody with the development package alone would write it: opens the installed
// driver, polls it once without a VPN service and prints the result code.
#include <dlfcn.h>
#include <host/HostInterface.h>
#include <host/StatusCodes.h>

#include <cstdio>

namespace
{

// A project without variables and channels.
class EmptyDatabase final : public IDevRtdbCtrl
{
public:
    int GetParamType(const char*, DATATYPE&) override { return 1; }
    int GetParamInt(const char*, int*) override { return 1; }
    int GetParamDouble(const char*, double*) override { return 1; }
    int GetParamString(const char*, std::string&) override { return 1; }
    int SetParamInt(const char*, int) override { return 1; }
    int SetParamDouble(const char*, double) override { return 1; }
    int SetParamString(const char*, const std::string&) override { return 1; }
    int GetChannelType(int, DATATYPE*) override { return 1; }
    int SetChannelInt(int, int) override { return 1; }
    int SetChannelDouble(int, double) override { return 1; }
    int SetChannelString(int, const std::string&) override { return 1; }
};

using Create = IDeviceCtrl* (*)(const char*, IDevRtdbCtrl*);
using Destroy = int (*)(IDeviceCtrl*);

}  // namespace

int main()
{
    void* library = dlopen(DRIVER, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    const auto create = reinterpret_cast<Create>(dlsym(library, "CreateDeviceCtrl"));
    const auto destroy = reinterpret_cast<Destroy>(dlsym(library, "DestroyDeviceCtrl"));
    if (create == nullptr || destroy == nullptr) return 2;

    EmptyDatabase database;
    IDeviceCtrl* device = create("VPN_1", &database);
    const int initialised = device->InitDevice(nullptr, 0);
    const int wanted[] = {1, 1};
    const int collected = device->CollectDevData(wanted, 2);
    device->CleanupDevice();
    destroy(device);
    dlclose(library);

    std::printf("InitDevice %d, CollectDevData %d\n", initialised, collected);
    return initialised == kStatusOk && collected == kResultNoService ? 0 : 1;
}
