#include "device/DevBas.h"
#include "device/DevTables.h"
#include "host/DevData.h"
#include "support/OwnerArchive.h"

#include <algorithm>
#include <new>

namespace
{
// Longest string that a configuration may announce, in bytes.
constexpr int kMaxConfigString = 16 * 1024 * 1024;
}  // namespace

int CDevBas::mfCheckDevDataInit(ORVA_DATA& data)
{
    if (data.pDevData != nullptr) return 0;
    data.pDevData = new DEV_DATA();
    _SetDefaultProperty(data);
    if (data.pArchive == nullptr || data.pArchive->SvrGetRealBufferSize() == 0) {
        data.pDevData->bNoConfig = true;
    } else if (_mfDeserialize(data) != 0) {
        return -1;
    }
    data.pDevData->dLastValue = -1.0;
    return 0;
}

int CDevBas::_SetDefaultProperty(ORVA_DATA& data)
{
    if (data.pDevData == nullptr) return 1;
    data.pDevData->arrPropInt.release();
    data.pDevData->arrPropAux.release();
    data.pDevData->vecPropStrings.clear();
    return 0;
}

int CDevBas::_mfDeserialize(ORVA_DATA& data)
{
    data.pArchive->SvrChangeMode(ARCHIVE_LOADING);
    if (data.pArchive->GetNowVersion() != CONFIG_VERSION) return -1;
    return _mfDeserializeFromVersion1(data);
}

int CDevBas::_mfDeserializeFromVersion1(ORVA_DATA& data)
{
    int propertyCount = 0;
    *data.pArchive >> propertyCount;
    // As many property records as the device declares would stand here: none.
    static_cast<void>(std::min(propertyCount, _GetPropertyNum()));
    *data.pArchive >> data.pDevData->nMaxChannel;
    return 0;
}

int CDevBas::_GetPropertyNum() { return 0; }

int CDevBas::_DeserializeUtf8String(ORVA_DATA& data, std::string& text)
{
    if (data.pArchive == nullptr) return 1;
    int length = 0;
    *data.pArchive >> length;
    if (length < 0 || length > kMaxConfigString) return 1;
    try {
        std::string bytes(static_cast<std::size_t>(length), '\0');
        data.pArchive->Read(bytes.data(), length);
        text.swap(bytes);
    } catch (const std::bad_alloc&) {
        return 1;
    }
    return 0;
}

int CDevBas::_SerializeUtf8String(ORVA_DATA& data, const std::string& text)
{
    if (data.pArchive == nullptr) return 1;
    const int length = static_cast<int>(text.size());
    *data.pArchive << length;
    data.pArchive->Write(text.data(), length);
    return 0;
}
