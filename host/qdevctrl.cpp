#include "host/qdevctrl.h"

#include "device/DevTables.h"
#include "host/DataTypes.h"
#include "host/StatusCodes.h"
#include "host/devicevpn.h"
#include "support/OwnerArchive.h"
#include "support/Truncate.h"
#include "vpnclient/CatchAll.h"

#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace
{

// More channels than this are taken for a request that memory cannot fulfil.
constexpr int kMaxChannels = 1000000;

// Runs an operation of the host interface: no exception leaves it.
template <class Operation>
int guarded(int failed, Operation operation)
{
    return catchAll(operation, [failed] { return failed; });
}

// The value behind a host pointer, which need not be aligned.
template <class T>
T load(const void* pValue)
{
    T value;
    std::memcpy(&value, pValue, sizeof value);
    return value;
}

void setFlags(const int* pChannels, int n, CArray<int, int>& flags)
{
    if (flags.GetSize() > 0) flags[0] = kFlagRequested;
    for (int i = 1; i <= n && i < flags.GetSize(); ++i) flags[i] = pChannels[i - 1];
}

}  // namespace

// Linkage and visibility stand here: the runtime's own header may declare neither function.
extern "C" {
[[gnu::visibility("default")]] IDeviceCtrl* CreateDeviceCtrl(const char* szDevName,
                                                             IDevRtdbCtrl* pRtdb)
{
    return new CDevCtrl(szDevName, pRtdb);
}

[[gnu::visibility("default")]] int DestroyDeviceCtrl(IDeviceCtrl* p)
{
    if (p == nullptr) return kStatusDestroyNull;
    delete p;
    return kStatusOk;
}
}

CDevCtrl::CDevCtrl(const char* szDevName, IDevRtdbCtrl* pRtdb) : m_pRtdb(pRtdb)
{
    orva_device::DllInit();
    m_data.strDevName = szDevName;
    m_data.strDevExtra = "";
    m_data.pfnSetParamValue = &CDevCtrl::SetParamValue_Fun;
    m_data.pfnGetParamValue = &CDevCtrl::GetParamValue_Fun;
    m_data.pfnGetParamType = &CDevCtrl::GetParamType_Fun;
    m_data.pRtdb = pRtdb;
}

int CDevCtrl::InitDevice(const unsigned char* pData, int nLen)
{
    const auto dropArchive = [this](COwnerArchive* archive) {
        m_data.pArchive = nullptr;
        delete archive;
    };
    return guarded(kStatusFailed, [&] {
        const std::unique_ptr<COwnerArchive, decltype(dropArchive)> archive(
            new (std::nothrow) COwnerArchive(ARCHIVE_STORING), dropArchive);
        m_data.pArchive = archive.get();
        // On purpose: a device without memory for its archive still starts.
        if (!archive) return kStatusOk;
        // In this order: rewound before the switch, the archive keeps the zeros behind a short
        // blob.
        archive->SvrWrite(pData, nLen);
        archive->SvrSeekToBegin();
        archive->SvrChangeMode(ARCHIVE_LOADING);
        return orva_device::SvrInitDevRun(m_data) == 0 ? kStatusOk : kStatusFailed;
    });
}

int CDevCtrl::CleanupDevice()
{
    return guarded(kStatusOk, [&] {
        orva_device::SvrExitDevRun(m_data);
        delete m_data.pArchive;
        m_data.pArchive = nullptr;
        return kStatusOk;
    });
}

int CDevCtrl::CollectDevData(const int* pChannels, int nCount)
{
    return guarded(kStatusFailed, [&] {
        if (nCount == 0 || pChannels == nullptr) return kStatusOk;
        announceDevice();
        _InitValueArray(nCount);
        if (m_pRtdb == nullptr) return kStatusCollectNoRtdb;
        setFlags(pChannels, nCount, m_arrFlags);
        orva_device::SvrCollectDevData(m_data, m_arrFlags, m_arrValues, m_arrStrings);
        // Taken before the host is called, which may run a command of its own meanwhile.
        const int code = result();
        _SetValueToRtdb(m_arrFlags, m_arrValues, m_arrStrings);
        return code;
    });
}

int CDevCtrl::DevIOCtrl(const char* szCmd)
{
    return guarded(kStatusFailed, [&] {
        if (szCmd == nullptr) return kStatusFailed;
        announceDevice();
        CString command(szCmd);
        return runCommand(command);
    });
}

int CDevCtrl::WriteChannel(int nChannel, DATATYPE type, void* pValue)
{
    return guarded(kStatusFailed, [&] {
        if (pValue == nullptr || nChannel < 0) return kStatusFailed;
        announceDevice();
        // Wraps for the largest index instead of overflowing.
        const int channel = static_cast<int>(static_cast<unsigned int>(nChannel) + 1u);
        CString command;
        if (type == kDataDouble) {
            command.Format("ORVA_WRITE(%d=%lf)", channel, load<double>(pValue));
        } else if (type == kDataString) {
            command.Format("ORVA_WRITE(%d=%s)", channel, static_cast<const char*>(pValue));
        } else if (type == kDataInt) {
            command.Format("ORVA_WRITE(%d=%d)", channel, load<int>(pValue));
        }
        // On purpose: a value of an unknown type goes on as an empty command.
        return runCommand(command);
    });
}

int CDevCtrl::UpdataCommunication(ICommunication* pComm)
{
    return guarded(kStatusFailed, [&] {
        if (pComm == nullptr) return kStatusFailed;
        m_data.pCommunication = pComm;
        const int mode = pComm->GetCommMode();
        if (mode != 1 && mode != 2) return kStatusFailed;
        // On purpose: mode 1 of the communication object is stored as 2 and 2 as 1.
        m_data.nCommMode = mode == 1 ? 2 : 1;
        return kStatusOk;
    });
}

int CDevCtrl::ChannelRefChange(const int* pChannels, int nCount)
{
    return guarded(kStatusFailed, [&] {
        if (pChannels == nullptr || nCount == 0) return kStatusFailed;
        _InitValueArray(nCount);
        return kStatusOk;
    });
}

int CDevCtrl::_InitValueArray(int n)
{
    if (n == m_nChannelCount && m_nChannelCount != 0) return 0;
    if (n < 1 && m_nChannelCount > 0) return 0;
    const int count = n < 1 ? 0 : n;
    if (count > kMaxChannels) throw std::bad_alloc();
    m_arrValues.SetSize(count + 1);
    m_arrStrings.SetSize(count + 1);
    m_arrFlags.SetSize(count + 1);
    // Only now: arrays that were not all sized are sized by the next call with this count.
    m_nChannelCount = count;
    return 0;
}

int CDevCtrl::_SetValueToRtdb(CArray<int, int>& flags, CArray<double, double>& values,
                              CStringArray& strings)
{
    if (m_pRtdb == nullptr) return kStatusNoRtdb;
    // The host may come back into this object from any call: sizes are read anew
    // and a value is copied before it is handed over.
    for (int i = 1; i < flags.GetSize(); ++i) {
        if (flags[i] != FLAG_VALUE_READY) continue;
        DATATYPE type = static_cast<DATATYPE>(0);
        if (m_pRtdb->GetChannelType(i - 1, &type) != 0) continue;
        if (type == kDataInt && i < values.GetSize()) {
            m_pRtdb->SetChannelInt(i - 1, truncToInt(values[i]));
        } else if (type == kDataDouble && i < values.GetSize()) {
            m_pRtdb->SetChannelDouble(i - 1, values[i]);
        } else if (type == kDataString && i < strings.GetSize()) {
            const std::string text(strings[i]);
            m_pRtdb->SetChannelString(i - 1, text);
        }
    }
    return kStatusOk;
}

int CDevCtrl::_InitCollectData(const int* pChannels, int n, CArray<int, int>& flags,
                               CArray<double, double>&, CStringArray&)
{
    if (m_pRtdb == nullptr || n == 0 || pChannels == nullptr) return kStatusNoRtdb;
    if (n > kMaxChannels) throw std::bad_alloc();
    if (flags.GetSize() < n + 1) flags.SetSize(n + 1);
    setFlags(pChannels, n, flags);
    return kStatusOk;
}

void CDevCtrl::announceDevice()
{
    if (m_data.pCommunication == nullptr) return;
    m_data.pCommunication->SetCurrentDevice(restoredName());
    restoredName();
}

char* CDevCtrl::restoredName()
{
    if (m_deviceName.empty()) m_deviceName = m_data.strDevName;
    const auto length = static_cast<int>(m_deviceName.size());
    char* const name = m_data.strDevName.GetBuffer(length);
    std::memcpy(name, m_deviceName.c_str(), m_deviceName.size() + 1);
    m_data.strDevName.ReleaseBuffer(length);
    return name;
}

int CDevCtrl::runCommand(CString& command)
{
    _InitValueArray(0);
    orva_device::SvrDevIOCtrl(m_data, command, m_arrValues, m_arrStrings);
    return result();
}

int CDevCtrl::result() const { return m_arrValues.IsEmpty() ? 0 : truncToInt(m_arrValues[0]); }

int CDevCtrl::GetParamType_Fun(ORVA_DATA& data, CString name, DATATYPE& type)
{
    if (name.IsEmpty()) return kStatusFailed;
    if (data.pRtdb == nullptr) return kStatusNoRtdb;
    return data.pRtdb->GetParamType(name, type);
}

int CDevCtrl::GetParamValue_Fun(ORVA_DATA& data, CString name, DATATYPE type, void* pValue)
{
    if (pValue == nullptr || name.IsEmpty()) return kStatusFailed;
    if (data.pRtdb == nullptr) return kStatusNoRtdb;
    if (type == kDataInt) return data.pRtdb->GetParamInt(name, static_cast<int*>(pValue));
    if (type == kDataDouble) {
        return data.pRtdb->GetParamDouble(name, static_cast<double*>(pValue));
    }
    if (type == kDataString) {
        std::string text;
        const int status = data.pRtdb->GetParamString(name, text);
        // On purpose: assigned whatever the status.
        *static_cast<CString*>(pValue) = text.c_str();
        return status;
    }
    return kStatusFailed;
}

int CDevCtrl::SetParamValue_Fun(ORVA_DATA& data, CString name, DATATYPE type, void* pValue)
{
    if (pValue == nullptr || name.IsEmpty()) return kStatusFailed;
    if (data.pRtdb == nullptr) return kStatusNoRtdb;
    if (type == kDataInt) return data.pRtdb->SetParamInt(name, *static_cast<int*>(pValue));
    if (type == kDataDouble) {
        return data.pRtdb->SetParamDouble(name, *static_cast<double*>(pValue));
    }
    if (type == kDataString) {
        const std::string text(*static_cast<CString*>(pValue));
        return data.pRtdb->SetParamString(name, text);
    }
    return kStatusFailed;
}
