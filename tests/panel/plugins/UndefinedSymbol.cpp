// A library that needs a function which no library has.
extern "C" {
int functionThatNobodyHas();
[[gnu::visibility("default")]] void* CreateDeviceCtrl(const char*, void*);
[[gnu::visibility("default")]] int DestroyDeviceCtrl(void*);
}

void* CreateDeviceCtrl(const char*, void*) { return nullptr; }

int DestroyDeviceCtrl(void*) { return functionThatNobodyHas(); }
