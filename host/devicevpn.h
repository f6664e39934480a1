#pragma once

#include "host/OrvaData.h"
#include "platform/Arrays.h"

// Between the driver object and the device logic: each function forwards to one
// operation of CDevBas and puts its result where the driver object expects it.
// Reports no errors of its own; exceptions of the device logic pass through.
namespace orva_device
{

// Always 1; no other effect.
int DllInit();

// The result of CDevBas::mfCheckDevDataInit; data.pArchive is open for loading.
int SvrInitDevRun(ORVA_DATA& data);

// Stops and frees the connection and DEV_DATA, if any. Always 1.
int SvrExitDevRun(ORVA_DATA& data);

// Collects and stores the result in values[0]; nothing when values is empty. Always 0.
int SvrCollectDevData(ORVA_DATA& data, CArray<int, int>& flags, CArray<double, double>& values,
                      CStringArray& strings);

// Runs a command, stores its result in values[0] and returns it; 0 without
// running it when values is empty.
int SvrDevIOCtrl(ORVA_DATA& data, CString& cmd, CArray<double, double>& values,
                 CStringArray& strings);

}  // namespace orva_device
