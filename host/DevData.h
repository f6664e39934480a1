#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QZ::RPC
{
class DispatchClient;
}

// A property store. Empty in this device, which declares no properties.
template <class T>
struct PropArray {
    PropArray() = default;
    ~PropArray() { release(); }
    PropArray(const PropArray&) = delete;
    PropArray& operator=(const PropArray&) = delete;

    // Frees the elements; the grow step stays.
    void release()
    {
        delete[] pData;
        pData = nullptr;
        nSize = nCapacity = 0;
    }

    T* pData = nullptr;  // allocated with array new, owned
    std::int32_t nSize = 0;
    std::int32_t nCapacity = 0;
    std::int32_t nGrowBy = 0;
};

// State of one device between InitDevice and CleanupDevice. Made by
// CDevBas::mfCheckDevDataInit, freed by orva_device::SvrExitDevRun only.
struct DEV_DATA {
    DEV_DATA() = default;
    // Stops and destroys a connection that is still there.
    ~DEV_DATA();
    DEV_DATA(const DEV_DATA&) = delete;
    DEV_DATA& operator=(const DEV_DATA&) = delete;

    PropArray<int> arrPropInt;
    PropArray<int> arrPropAux;
    std::vector<std::string> vecPropStrings;
    bool bNoConfig = false;        // no stored configuration: every channel is collected
    std::int32_t nMaxChannel = 6;  // highest channel (1-based) to which values are stored
    double dLastValue = -1.0;
    QZ::RPC::DispatchClient* pDispatchClient = nullptr;  // owned; null while not connected
};
