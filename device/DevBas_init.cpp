#include "device/DevBas.h"
#include "host/DevData.h"
#include "host/StatusCodes.h"
#include "support/OwnerArchive.h"

#include <new>

namespace
{
// Longest string that a configuration may announce, in bytes.
constexpr int kMaxConfigString = 16 * 1024 * 1024;
}  // namespace

int CDevBas::mfCheckDevDataInit(ORVA_DATA& data)
{
    if (data.pDevData != nullptr) return kResultOk;
    data.pDevData = new DEV_DATA();
    _SetDefaultProperty(data);
    if (data.pArchive == nullptr || data.pArchive->SvrGetRealBufferSize() == 0) {
        data.pDevData->bNoConfig = true;
    } else if (_mfDeserialize(data) != kResultOk) {
        return kConfigOtherVersion;
    }
    return kResultOk;
}

int CDevBas::_SetDefaultProperty(ORVA_DATA& data)
{
    if (data.pDevData == nullptr) return kConfigUnusable;
    data.pDevData->arrPropInt.release();
    data.pDevData->arrPropAux.release();
    data.pDevData->vecPropStrings.clear();
    return kResultOk;
}

int CDevBas::_mfDeserialize(ORVA_DATA& data)
{
    data.pArchive->SvrChangeMode(ARCHIVE_LOADING);
    if (data.pArchive->GetNowVersion() != CONFIG_VERSION) return kConfigOtherVersion;
    return _mfDeserializeFromVersion1(data);
}

int CDevBas::_mfDeserializeFromVersion1(ORVA_DATA& data)
{
    int propertyCount = 0;
    *data.pArchive >> propertyCount;
    // On purpose no records behind it, whatever it says: the device declares no properties.
    *data.pArchive >> data.pDevData->nMaxChannel;
    return kResultOk;
}

int CDevBas::_GetPropertyNum() { return 0; }

int CDevBas::_DeserializeUtf8String(ORVA_DATA& data, std::string& text)
{
    if (data.pArchive == nullptr) return kConfigUnusable;
    int length = 0;
    *data.pArchive >> length;
    if (length < 0 || length > kMaxConfigString) return kConfigUnusable;
    try {
        std::string bytes(static_cast<std::size_t>(length), '\0');
        data.pArchive->Read(bytes.data(), length);
        text.swap(bytes);
    } catch (const std::bad_alloc&) {
        return kConfigUnusable;
    }
    return kResultOk;
}

int CDevBas::_SerializeUtf8String(ORVA_DATA& data, const std::string& text)
{
    if (data.pArchive == nullptr) return kConfigUnusable;
    const int length = static_cast<int>(text.size());
    *data.pArchive << length;
    data.pArchive->Write(text.data(), length);
    return kResultOk;
}
