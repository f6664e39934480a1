#include "support/DevServer.h"

// Not read here: the head of DevTables.h says why it is carried.
#include "device/DevTables.h"
#include "host/DataTypes.h"
#include "support/MfcConverter.h"

#include <cstring>

// On purpose a missing value or set callback is no failure anywhere here: the
// result only says whether the variable's type fits.

int CDevServer::SvrGetParaType(ORVA_DATA& data, CString name)
{
    // By bytes: the enumeration of a runtime's own header need not have room for it.
    int type = kNoParamType;
    DATATYPE reported;
    static_assert(sizeof reported == sizeof type);
    std::memcpy(&reported, &type, sizeof type);
    if (data.pfnGetParamType != nullptr) data.pfnGetParamType(data, name, reported);
    std::memcpy(&type, &reported, sizeof type);
    return type;
}

int CDevServer::SvrGetParaValue(ORVA_DATA& data, CString name, double& value)
{
    value = 0.0;
    switch (SvrGetParaType(data, name)) {
        case kDataDouble: {
            double stored = 0.0;
            if (data.pfnGetParamValue != nullptr) {
                data.pfnGetParamValue(data, name, kDataDouble, &stored);
            }
            value = stored;
            return 1;
        }
        case kDataString:
            return 0;
        case kDataInt: {
            int stored = 0;
            if (data.pfnGetParamValue != nullptr) {
                data.pfnGetParamValue(data, name, kDataInt, &stored);
            }
            value = stored;
            return 1;
        }
        default:
            break;
    }
    name.TrimLeft();
    name.TrimRight();
    if (!name.IsEmpty()) MfcConverter::GetInstance().cstringToNumeric(name, "%lf", &value);
    // On purpose also for a text that is no number.
    return 1;
}

int CDevServer::SvrGetParaValue(ORVA_DATA& data, CString name, CString& value)
{
    value.Empty();
    switch (SvrGetParaType(data, name)) {
        case kDataInt:
        case kDataDouble:
            return 0;
        case kDataString:
            if (data.pfnGetParamValue != nullptr) {
                data.pfnGetParamValue(data, name, kDataString, &value);
            }
            return 1;
        default:
            value = name;
            return 1;
    }
}

int CDevServer::SvrSetParaValue(ORVA_DATA& data, CString name, double& value)
{
    switch (SvrGetParaType(data, name)) {
        case kDataInt: {
            int rounded = Double2Int(value);
            if (data.pfnSetParamValue != nullptr) {
                data.pfnSetParamValue(data, name, kDataInt, &rounded);
            }
            return 1;
        }
        case kDataDouble:
            if (data.pfnSetParamValue != nullptr) {
                data.pfnSetParamValue(data, name, kDataDouble, &value);
            }
            return 1;
        default:
            return 0;
    }
}

int CDevServer::SvrSetParaValue(ORVA_DATA& data, CString name, CString& value)
{
    if (SvrGetParaType(data, name) != kDataString) return 0;
    if (data.pfnSetParamValue != nullptr) {
        data.pfnSetParamValue(data, name, kDataString, &value);
    }
    return 1;
}
