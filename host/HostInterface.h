#pragma once

#include <string>

// The interface between a host, the panel's runtime, and a driver. An integrator with the
// runtime's own header replaces this file by it. The orders of the virtual functions and the
// numbers of DATATYPE are the contract; enumerators and functions that no driver calls may
// have other names there. No interface here has a virtual destructor in front of its
// operations. All operations return a 32-bit status, 0 being success unless said otherwise.
//
// To see values, a host
//   1. gives CreateDeviceCtrl a database that outlives the device;
//   2. gives InitDevice the configuration with the highest channel of its project: without
//      one the device publishes channels 1 to 6;
//   3. asks for the channels in CollectDevData, in each cycle anew;
//   4. answers GetChannelType with 0 and a type that fits the channel, and takes the value
//      in SetChannelInt, SetChannelDouble or SetChannelString.
// Two functions of the host's program serve a driver, if the program exports them (-rdynamic):
//   extern "C" std::int64_t Orva_GetTickCount();   milliseconds; else the monotonic clock
//   extern "C" void watch_dog_report(pthread_t);   the thread is alive
// The latter is called in a long cycle only, at most every 10 s. Behind a slow service up to
// 30 s of one operation can pass without; with devices on several threads, which share the
// count, a whole cycle of up to 60 s: the host's watchdog must bear that.

// Type of a host value.
enum DATATYPE : int {
    DATATYPE_INT = 1,     // 32-bit signed integer
    DATATYPE_DOUBLE = 2,  // 64-bit IEEE 754
    DATATYPE_STRING = 3,  // text
};

// The communication object of a device's channel to the outside.
class ICommunication
{
public:
    // Operations of the runtime that no driver here calls; they only keep the slots.
    virtual int ReservedComm1() { return 0; }
    virtual int ReservedComm2() { return 0; }
    virtual int ReservedComm3() { return 0; }
    virtual int ReservedComm4() { return 0; }

    // Names the device that is about to use the object. The text is the driver's, writable
    // within its length, valid as long as the driver object and written anew before each call.
    virtual int SetCurrentDevice(char* szDevName) = 0;
    // 1 or 2; a driver refuses anything else.
    virtual int GetCommMode() = 0;

protected:
    ~ICommunication() = default;
};

// The real-time database: parameters (the variables of the project) by name,
// channels of the device by their 0-based index.
class IDevRtdbCtrl
{
public:
    // Leaves type as it is when the name is unknown.
    virtual int GetParamType(const char* szName, DATATYPE& type) = 0;
    virtual int GetParamInt(const char* szName, int* pValue) = 0;
    virtual int GetParamDouble(const char* szName, double* pValue) = 0;
    virtual int GetParamString(const char* szName, std::string& value) = 0;
    virtual int SetParamInt(const char* szName, int nValue) = 0;
    virtual int SetParamDouble(const char* szName, double dValue) = 0;
    virtual int SetParamString(const char* szName, const std::string& value) = 0;

    // Asked at the end of a cycle for every channel with a fresh value. 0 and the type in which
    // the host wants it; anything else leaves the channel out. A number comes as int or as
    // double. Nothing is converted: a number channel typed as text comes as "", a text
    // channel typed as a number as 0.
    virtual int GetChannelType(int nChannel, DATATYPE* pType) = 0;

    // As in ICommunication: slots only.
    virtual int ReservedRtdb1() { return 0; }
    virtual int ReservedRtdb2() { return 0; }
    virtual int ReservedRtdb3() { return 0; }

    virtual int SetChannelInt(int nChannel, int nValue) = 0;
    virtual int SetChannelDouble(int nChannel, double dValue) = 0;
    virtual int SetChannelString(int nChannel, const std::string& value) = 0;

protected:
    ~IDevRtdbCtrl() = default;
};

// A device driver, from CreateDeviceCtrl to DestroyDeviceCtrl. One thread at a time.
//   1. UpdataCommunication (optional), then InitDevice with the stored configuration.
//   2. Any number of CollectDevData, DevIOCtrl, WriteChannel and ChannelRefChange.
//   3. CleanupDevice.
// No operation throws.
class IDeviceCtrl
{
public:
    // Borrows the configuration blob during the call.
    virtual int InitDevice(const unsigned char* pData, int nLen) = 0;
    virtual int CleanupDevice() = 0;
    // One polling cycle. pChannels[i] == 1 asks for channel i, i below nCount.
    virtual int CollectDevData(const int* pChannels, int nCount) = 0;
    // Runs a text command such as STOPVPN(result).
    virtual int DevIOCtrl(const char* szCmd) = 0;
    // Writes a channel (0-based). pValue points to an int or a double, or is
    // itself the const char* of the text, as type says.
    virtual int WriteChannel(int nChannel, DATATYPE type, void* pValue) = 0;
    // Keeps pComm, also when it refuses its mode.
    virtual int UpdataCommunication(ICommunication* pComm) = 0;
    virtual int ChannelRefChange(const int* pChannels, int nCount) = 0;
    virtual ~IDeviceCtrl() = default;
};

// What a driver's library exports, for dlsym: decltype(&CreateDeviceCtrl) is the pointer's type.
extern "C" {
// A driver object for the named device (null counts as ""), owned by the caller
// until DestroyDeviceCtrl. Borrows the database, which must outlive it; may be
// null. Raises what the allocator raises.
IDeviceCtrl* CreateDeviceCtrl(const char* szDevName, IDevRtdbCtrl* pRtdb);
// 0, or 1 for null. Does not call CleanupDevice: what InitDevice made is then lost.
int DestroyDeviceCtrl(IDeviceCtrl* p);
}
