#include "support/DevServer.h"

// Not read here: by convention this source carries the vocabulary too, see its head.
#include "device/DevTables.h"
#include "support/MfcConverter.h"

// On purpose a missing value or set callback is no failure anywhere here: the
// result only says whether the variable's type fits.

int CDevServer::SvrGetParaType(ORVA_DATA& data, CString name)
{
    auto type = static_cast<DATATYPE>(kNoParamType);
    if (data.pfnGetParamType != nullptr) data.pfnGetParamType(data, name, type);
    return type;
}

int CDevServer::SvrGetParaValue(ORVA_DATA& data, CString name, double& value)
{
    value = 0.0;
    switch (SvrGetParaType(data, name)) {
        case DATATYPE_DOUBLE: {
            double stored = 0.0;
            if (data.pfnGetParamValue != nullptr) {
                data.pfnGetParamValue(data, name, DATATYPE_DOUBLE, &stored);
            }
            value = stored;
            return 1;
        }
        case DATATYPE_STRING:
            return 0;
        case DATATYPE_INT: {
            int stored = 0;
            if (data.pfnGetParamValue != nullptr) {
                data.pfnGetParamValue(data, name, DATATYPE_INT, &stored);
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
        case DATATYPE_INT:
        case DATATYPE_DOUBLE:
            return 0;
        case DATATYPE_STRING:
            if (data.pfnGetParamValue != nullptr) {
                data.pfnGetParamValue(data, name, DATATYPE_STRING, &value);
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
        case DATATYPE_INT: {
            int rounded = Double2Int(value);
            if (data.pfnSetParamValue != nullptr) {
                data.pfnSetParamValue(data, name, DATATYPE_INT, &rounded);
            }
            return 1;
        }
        case DATATYPE_DOUBLE:
            if (data.pfnSetParamValue != nullptr) {
                data.pfnSetParamValue(data, name, DATATYPE_DOUBLE, &value);
            }
            return 1;
        default:
            return 0;
    }
}

int CDevServer::SvrSetParaValue(ORVA_DATA& data, CString name, CString& value)
{
    if (SvrGetParaType(data, name) != DATATYPE_STRING) return 0;
    if (data.pfnSetParamValue != nullptr) {
        data.pfnSetParamValue(data, name, DATATYPE_STRING, &value);
    }
    return 1;
}
