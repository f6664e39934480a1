// A host as somebody with the development package alone would write it: opens the installed
// driver, runs one cycle over all ten channels and prints what is published. Ends with 0 when
// the VPN is connected, with 1 when it is not, with 2 when the driver cannot be used.
#include <dlfcn.h>
#include <host/HostInterface.h>
#include <host/StatusCodes.h>

#include <cstdio>

namespace
{

// A project without variables. Its channels have the types that it wants them in: 2 and 6
// integers, 4 and 7 doubles, all others texts.
class Database final : public IDevRtdbCtrl
{
public:
    int GetParamType(const char*, DATATYPE&) override { return 1; }
    int GetParamInt(const char*, int*) override { return 1; }
    int GetParamDouble(const char*, double*) override { return 1; }
    int GetParamString(const char*, std::string&) override { return 1; }
    int SetParamInt(const char*, int) override { return 1; }
    int SetParamDouble(const char*, double) override { return 1; }
    int SetParamString(const char*, const std::string&) override { return 1; }

    int GetChannelType(int index, DATATYPE* type) override
    {
        const int channel = index + 1;
        if (channel < 1 || channel > 10) return 1;
        *type = DATATYPE_STRING;
        if (channel == 2 || channel == 6) *type = DATATYPE_INT;
        if (channel == 4 || channel == 7) *type = DATATYPE_DOUBLE;
        return 0;
    }
    int SetChannelInt(int index, int value) override
    {
        return std::printf("%d int %d\n", index + 1, value) < 0;
    }
    int SetChannelDouble(int index, double value) override
    {
        return std::printf("%d double %g\n", index + 1, value) < 0;
    }
    int SetChannelString(int index, const std::string& value) override
    {
        // Channel 9 is the password, which belongs on no screen.
        return std::printf("%d text %s\n", index + 1, index == 8 ? "***" : value.c_str()) < 0;
    }
};

}  // namespace

int main()
{
    void* library = dlopen(DRIVER, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    const auto create =
        reinterpret_cast<decltype(&CreateDeviceCtrl)>(dlsym(library, "CreateDeviceCtrl"));
    const auto destroy =
        reinterpret_cast<decltype(&DestroyDeviceCtrl)>(dlsym(library, "DestroyDeviceCtrl"));
    if (create == nullptr || destroy == nullptr) return 2;

    Database database;
    IDeviceCtrl* device = create("VPN_1", &database);
    // Version 20003, no properties, highest channel 10.
    const unsigned char configuration[] = {0x23, 0x4E, 0, 0, 0, 0, 10, 0, 0, 0};
    const int initialised = device->InitDevice(configuration, sizeof configuration);
    const int wanted[10] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    const int code = device->CollectDevData(wanted, 10);
    device->CleanupDevice();
    destroy(device);
    dlclose(library);

    std::printf("InitDevice %d, CollectDevData %d\n", initialised, code);
    if (initialised != kStatusOk) return 2;
    return code == kResultOk ? 0 : 1;
}
