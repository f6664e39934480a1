// A library whose factory makes no object.
extern "C" {
[[gnu::visibility("default")]] void* CreateDeviceCtrl(const char*, void*);
[[gnu::visibility("default")]] int DestroyDeviceCtrl(void*);
}

void* CreateDeviceCtrl(const char*, void*) { return nullptr; }

int DestroyDeviceCtrl(void*) { return 1; }
