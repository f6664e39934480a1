// Not part of the program: what hosts have guessed of CreateDeviceCtrl, each to be refused by
// the compiler. Without GUESS it compiles.
#include <host/HostInterface.h>

#if GUESS == 1
extern "C" IDeviceCtrl* CreateDeviceCtrl(IDevRtdbCtrl* database);
#elif GUESS == 2
IDeviceCtrl* device(IDevRtdbCtrl* database) { return CreateDeviceCtrl(database); }
#else
IDeviceCtrl* device(IDevRtdbCtrl* database) { return CreateDeviceCtrl("VPN_1", database); }
#endif
