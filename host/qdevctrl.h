#pragma once

#include "host/HostInterface.h"
#include "host/OrvaData.h"
#include "platform/Arrays.h"

#include <string>

// The driver object: hands every call of the host to the run glue and copies
// the results into the host's database. Host calls may come back into the object.
// Whatever is raised below an operation ends there: kStatusFailed, nothing
// published. Only the forced unwind of a cancelled thread passes.
class CDevCtrl : public virtual IDeviceCtrl
{
public:
    CDevCtrl() = default;
    CDevCtrl(const char* szDevName, IDevRtdbCtrl* pRtdb);

    int InitDevice(const unsigned char* pData, int nLen) override;
    int CleanupDevice() override;
    int CollectDevData(const int* pChannels, int nCount) override;
    int DevIOCtrl(const char* szCmd) override;
    int WriteChannel(int nChannel, DATATYPE type, void* pValue) override;
    int UpdataCommunication(ICommunication* pComm) override;
    int ChannelRefChange(const int* pChannels, int nCount) override;
    // Leaves DEV_DATA alone: that is CleanupDevice's.
    ~CDevCtrl() override = default;

    // Parameter access for the layers below, through the record's callbacks.
    static int GetParamType_Fun(ORVA_DATA& data, CString name, DATATYPE& type);
    static int GetParamValue_Fun(ORVA_DATA& data, CString name, DATATYPE type, void* pValue);
    static int SetParamValue_Fun(ORVA_DATA& data, CString name, DATATYPE type, void* pValue);

protected:
    // Sizes the three arrays for n channels; n < 1 keeps what an earlier
    // collection has sized. Always 0; raises std::bad_alloc, also for more
    // channels than any device has.
    int _InitValueArray(int n);
    // Publishes every value whose flag says that it is ready.
    int _SetValueToRtdb(CArray<int, int>& flags, CArray<double, double>& values,
                        CStringArray& strings);
    // Writes the host's request flags; a variant of what CollectDevData does itself.
    int _InitCollectData(const int* pChannels, int n, CArray<int, int>& flags,
                         CArray<double, double>& values, CStringArray& strings);

    ORVA_DATA m_data;
    IDevRtdbCtrl* m_pRtdb = nullptr;
    int m_nChannelCount = -1;
    // Index 0 is the result slot, index i the host's channel i - 1.
    CArray<int, int> m_arrFlags;
    CArray<double, double> m_arrValues;
    CStringArray m_arrStrings;

private:
    void announceDevice();
    // The buffer of the device's name, always the same one, with the name in it: the host may
    // keep it and write into it at any time.
    char* restoredName();
    int runCommand(CString& command);
    int result() const;

    std::string m_deviceName;  // as the record has it before the host sees its buffer
};
