#pragma once

#include "host/HostInterface.h"
#include "platform/CString.h"

#include <cstdint>

class COwnerArchive;
struct DEV_DATA;
struct ORVA_DATA;

// Parameter access through the host: the record, the parameter's name, its type
// and the value (int*, double* or CString*, as the type says). Host statuses come
// back unchanged; 0x80000001 for a bad argument, 0x80000000 without a database.
using SetParamValueFun = int (*)(ORVA_DATA&, CString, DATATYPE, void*);
using GetParamValueFun = int (*)(ORVA_DATA&, CString, DATATYPE, void*);
using GetParamTypeFun = int (*)(ORVA_DATA&, CString, DATATYPE&);

// The host's record of one device; lives inside the driver object, which owns it.
struct ORVA_DATA {
    CString strDevName;
    CString strDevExtra;
    std::uint32_t nReserved1 = 0;
    COwnerArchive* pArchive = nullptr;         // the driver object's, only while InitDevice runs
    DEV_DATA* pDevData = nullptr;              // made by SvrInitDevRun, freed by SvrExitDevRun
    std::int32_t nCommMode = 0;                // 1 or 2 once UpdataCommunication has succeeded
    ICommunication* pCommunication = nullptr;  // the host's
    IDevRtdbCtrl* pRtdb = nullptr;             // the host's
    std::uint32_t nReserved2 = 0;
    SetParamValueFun pfnSetParamValue = nullptr;
    GetParamValueFun pfnGetParamValue = nullptr;
    GetParamTypeFun pfnGetParamType = nullptr;
};
