#pragma once

#include "host/OrvaData.h"
#include "platform/Arrays.h"
#include "platform/QZUtils.h"

#include <cstdint>
#include <string>
#include <vector>

// Version of the configuration blob that the device reads.
constexpr int CONFIG_VERSION = 20003;

// The device logic: what the VPN device does when the host initialises, polls,
// commands or writes it. Static operations on the host's record; the state of a
// device is its DEV_DATA. Result codes: host/StatusCodes.h.
//
// Every collection and command asks initData for a live connection first. A
// QZ::Net::Exception of a service call ends it with kResultNoService, one line
// on standard output and the connection dropped; other exceptions pass through.
class CDevBas
{
public:
    virtual ~CDevBas();

    // Entry points of the run glue.

    // Makes DEV_DATA and reads the configuration from data.pArchive. 0, also when
    // there is a DEV_DATA already (nothing is read then); -1 for a configuration of
    // another version, with the defaults in force.
    static int mfCheckDevDataInit(ORVA_DATA& data);
    // One polling cycle over the requested channels. Arrays are indexed by channel number.
    static int mfCollectDevData(ORVA_DATA& data, CArray<int, int>& flags,
                                CArray<double, double>& numbers, CStringArray& texts);
    // Runs NAME(arguments). Leaves both arrays with 11 elements.
    static int mfDevIOCtrl(ORVA_DATA& data, CString& command, CArray<double, double>& numbers,
                           CStringArray& texts);
    // A channel write k=value. Unlike the commands it catches every exception and prints nothing.
    static int mfDevIOWriteChannel(ORVA_DATA& data, CString& arguments);

    // Initialisation.

    // Empties the property stores of DEV_DATA. 0, or 1 without DEV_DATA.
    static int _SetDefaultProperty(ORVA_DATA& data);
    // Reads the configuration into DEV_DATA, both of which must be there. 0, or
    // -1 when it is of another version.
    static int _mfDeserialize(ORVA_DATA& data);
    // The part behind the version. Always 0; what is missing reads as it was.
    static int _mfDeserializeFromVersion1(ORVA_DATA& data);
    // Properties that the device declares: always 0.
    static int _GetPropertyNum();
    // A string in the configuration: 32-bit byte count, then UTF-8. 0, or 1 with
    // text untouched when there is no archive or the count is unusable.
    static int _DeserializeUtf8String(ORVA_DATA& data, std::string& text);
    static int _SerializeUtf8String(ORVA_DATA& data, const std::string& text);

    // True when devData has a live connection after the call; without one it holds
    // no client. Makes at most one fresh attempt. False for null.
    static bool initData(DEV_DATA* devData);

    // Collection.
    static int loadData(ORVA_DATA& data, CArray<int, int>& flags, CArray<double, double>& numbers,
                        CStringArray& texts);
    // Store a value where index is a channel of the device that is requested, and mark it ready.
    static void _SetValue(ORVA_DATA& data, int index, double value, CArray<int, int>& flags,
                          CArray<double, double>& numbers);
    static void _SetValue(ORVA_DATA& data, int index, const CString& value, CArray<int, int>& flags,
                          CStringArray& texts);
    // Feeds the host's watchdog when more than 10000 ms have passed since _ticks.
    static void watch_dog_report();

    // Splits text at separator into trimmed fields, empty ones kept. True when
    // there was a separator; a null text gives one empty field.
    static bool _SplitString(const char* text, char separator,
                             std::vector<QZ::utils::String>& fields);

    // Commands: arguments is the trimmed text between the parentheses.
    static int _SetVPNServer(ORVA_DATA& data, const CString& arguments);
    static int _SetVPNCA(ORVA_DATA& data, const CString& arguments);
    static int _SetDeviceSN(ORVA_DATA& data, const CString& arguments);
    static int _StartVPN(ORVA_DATA& data, const CString& arguments);
    static int _StopVPN(ORVA_DATA& data, const CString& arguments);
    static int _SetAliveTime(ORVA_DATA& data, const CString& arguments);
    static int _RefreshData(ORVA_DATA& data);
    static int _ActivateVPN(ORVA_DATA& data, const CString& arguments);
    static int _SetOnline(ORVA_DATA& data, const CString& arguments);
    static int _SetOffline(ORVA_DATA& data, const CString& arguments);
    static int _GetPasswd(ORVA_DATA& data, const CString& arguments);
    static int _SetPasswd(ORVA_DATA& data, const CString& arguments);

    // Validators. An address is a canonical dotted quad other than
    // 255.255.255.255, a port 1 to 65535, a password 6 to 32 letters and digits,
    // a user name 6 to 32 letters.
    static bool _CheckAddr(const char* text);
    static bool _CheckPort(int port);
    static bool _CheckVPNPasswd(CString& text);
    static bool _CheckVPNUserName(CString& text);

    // Host tick, in milliseconds, of the last cycle start or watchdog report; all devices share it.
    static std::int64_t _ticks;
};
