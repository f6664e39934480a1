extern "C" __attribute__((visibility("default"))) int Surplus();
extern "C" int Surplus() { return 0; }
