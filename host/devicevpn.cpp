#include "host/devicevpn.h"

#include "device/DevBas.h"
#include "host/DevData.h"
#include "host/StatusCodes.h"
#include "vpnclient/Connection.h"

// Not read here: the head of DevTables.h says why it is carried.
#include "device/DevTables.h"

namespace orva_device
{

int DllInit() { return kGlueDone; }

int SvrInitDevRun(ORVA_DATA& data) { return CDevBas::mfCheckDevDataInit(data); }

int SvrExitDevRun(ORVA_DATA& data)
{
    if (data.pDevData == nullptr) return kGlueDone;
    data.pDevData->arrPropInt.release();
    dropConnection(data.pDevData->pDispatchClient);
    delete data.pDevData;
    data.pDevData = nullptr;
    return kGlueDone;
}

int SvrCollectDevData(ORVA_DATA& data, CArray<int, int>& flags, CArray<double, double>& values,
                      CStringArray& strings)
{
    if (values.GetSize() < 1) return 0;
    const int result = CDevBas::mfCollectDevData(data, flags, values, strings);
    values[0] = result;
    return 0;
}

int SvrDevIOCtrl(ORVA_DATA& data, CString& cmd, CArray<double, double>& values,
                 CStringArray& strings)
{
    if (values.GetSize() < 1) return 0;
    const int result = CDevBas::mfDevIOCtrl(data, cmd, values, strings);
    values[0] = result;
    return result;
}

}  // namespace orva_device
