#pragma once

#include <string>

// A runtime's own header in the place of host/HostInterface.h: the same orders and numbers,
// other names for all that the driver does not call, nothing of the exports, and what the
// warnings of the driver would not let pass.

enum DATATYPE {
    RT_INTEGER = 1,
    RT_REAL,
    RT_TEXT,
    RT_BLOCK,
};

inline DATATYPE TypeOfWord(unsigned long word, int flags) { return (DATATYPE)word; }

class ICommunication
{
public:
    virtual int OpenPort(const char* name) = 0;
    virtual int ClosePort() = 0;
    virtual int SendBytes(const void* data, int count) = 0;
    virtual int ReceiveBytes(void* data, int count) = 0;
    virtual int SetCurrentDevice(char* device) = 0;
    virtual int GetCommMode() = 0;
    virtual int PortState() = 0;
    virtual ~ICommunication() {}
};

class IDevRtdbCtrl
{
public:
    virtual int GetParamType(const char* name, DATATYPE& type) = 0;
    virtual int GetParamInt(const char* name, int* value) = 0;
    virtual int GetParamDouble(const char* name, double* value) = 0;
    virtual int GetParamString(const char* name, std::string& value) = 0;
    virtual int SetParamInt(const char* name, int value) = 0;
    virtual int SetParamDouble(const char* name, double value) = 0;
    virtual int SetParamString(const char* name, const std::string& value) = 0;
    virtual int GetChannelType(int channel, DATATYPE* type) = 0;
    virtual int LockChannel(int channel) = 0;
    virtual int UnlockChannel(int channel) = 0;
    virtual int ChannelAge(int channel) = 0;
    virtual int SetChannelInt(int channel, int value) = 0;
    virtual int SetChannelDouble(int channel, double value) = 0;
    virtual int SetChannelString(int channel, const std::string& value) = 0;
    virtual int ChannelQuality(int channel) = 0;
    virtual ~IDevRtdbCtrl() {}
};

class IDeviceCtrl
{
public:
    virtual int InitDevice(const unsigned char* data, int length) = 0;
    virtual int CleanupDevice() = 0;
    virtual int CollectDevData(const int* channels, int count) = 0;
    virtual int DevIOCtrl(const char* command) = 0;
    virtual int WriteChannel(int channel, DATATYPE type, void* value) = 0;
    virtual int UpdataCommunication(ICommunication* communication) = 0;
    virtual int ChannelRefChange(const int* channels, int count) = 0;
    virtual ~IDeviceCtrl() {}
};
