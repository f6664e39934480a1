// A library that throws while it is loaded, where nobody can catch it.
extern "C" {
[[gnu::visibility("default")]] void* CreateDeviceCtrl(const char*, void*);
[[gnu::visibility("default")]] int DestroyDeviceCtrl(void*);
}

namespace
{

struct Thrower {
    Thrower() { throw 7; }
};
const Thrower thrower;

}  // namespace

void* CreateDeviceCtrl(const char*, void*) { return nullptr; }

int DestroyDeviceCtrl(void*) { return 1; }
