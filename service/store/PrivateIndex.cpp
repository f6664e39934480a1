#include "service/store/PrivateIndex.h"

#include <sqlite3.h>

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace vpnd
{
namespace
{

constexpr const char* kName = "orva-private-index";

sqlite3_vfs* systemLayer()
{
    static sqlite3_vfs* const layer = ::sqlite3_vfs_find(nullptr);
    return layer;
}

// Stands behind what the system's layer keeps of a file.
struct Index {
    const sqlite3_io_methods* systemMethods;
    sqlite3_io_methods methods;
    std::vector<std::unique_ptr<unsigned char[]>> regions;
};

std::size_t systemBytes()
{
    constexpr std::size_t kAlignment = alignof(std::max_align_t);
    const auto bytes = static_cast<std::size_t>(systemLayer()->szOsFile);
    return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

Index& indexOf(sqlite3_file* file)
{
    void* const behind = reinterpret_cast<unsigned char*>(file) + systemBytes();
    return *static_cast<Index*>(behind);
}

int closeFile(sqlite3_file* file)
{
    Index& index = indexOf(file);
    file->pMethods = index.systemMethods;
    index.~Index();
    return file->pMethods->xClose(file);
}

int map(sqlite3_file* file, int number, int bytes, int, void volatile** out)
{
    auto& regions = indexOf(file).regions;
    const auto wanted = static_cast<std::size_t>(number);
    try {
        while (regions.size() <= wanted) {
            regions.push_back(std::make_unique<unsigned char[]>(static_cast<std::size_t>(bytes)));
        }
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    }
    *out = regions[wanted].get();
    return SQLITE_OK;
}

// There is nobody to keep out.
int lock(sqlite3_file*, int, int, int) { return SQLITE_OK; }
void barrier(sqlite3_file*) {}

int unmap(sqlite3_file* file, int)
{
    indexOf(file).regions.clear();
    return SQLITE_OK;
}

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags)
{
    sqlite3_vfs* const layer = systemLayer();
    const int code = layer->xOpen(layer, name, file, flags, outFlags);
    if (code != SQLITE_OK || (flags & SQLITE_OPEN_MAIN_DB) == 0) return code;
    auto* index = new (&indexOf(file)) Index{file->pMethods, *file->pMethods, {}};
    index->methods.xClose = closeFile;
    index->methods.xShmMap = map;
    index->methods.xShmLock = lock;
    index->methods.xShmBarrier = barrier;
    index->methods.xShmUnmap = unmap;
    file->pMethods = &index->methods;
    return code;
}

}  // namespace

const char* privateIndexLayer()
{
    // Registered for good; SQLite keeps the address.
    static sqlite3_vfs layer = [] {
        sqlite3_vfs made = *systemLayer();
        made.szOsFile = static_cast<int>(systemBytes() + sizeof(Index));
        made.zName = kName;
        made.xOpen = openFile;
        return made;
    }();
    static const int registered = ::sqlite3_vfs_register(&layer, 0);
    return registered == SQLITE_OK ? kName : "";
}

}  // namespace vpnd
