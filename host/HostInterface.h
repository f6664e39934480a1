#pragma once

#include <string>

// The runtime's side of the driver interface, as far as a driver sees it. An
// integrator with the runtime's own header replaces this file by it; slot
// orders are the contract. No interface here has a virtual destructor in front
// of its operations. All operations return a 32-bit status, 0 being success
// unless said otherwise.

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
