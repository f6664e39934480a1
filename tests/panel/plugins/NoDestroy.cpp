// A library that lacks DestroyDeviceCtrl and exports a name of its own.
extern "C" {
[[gnu::visibility("default")]] void* CreateDeviceCtrl(const char*, void*);
[[gnu::visibility("default")]] int somethingElse();
}

void* CreateDeviceCtrl(const char*, void*) { return nullptr; }

int somethingElse() { return 1; }
