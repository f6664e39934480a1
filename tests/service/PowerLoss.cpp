#include "PowerLoss.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace
{

PowerLoss* present = nullptr;

sqlite3_vfs* system() { return ::sqlite3_vfs_find(nullptr); }

void applyTo(std::string& bytes, std::size_t at, const std::string& written)
{
    if (bytes.size() < at + written.size()) bytes.resize(at + written.size());
    bytes.replace(at, written.size(), written);
}

}  // namespace

// What SQLite holds: ours, and behind it the system's.
struct PowerLossFile {
    sqlite3_file base;
    std::shared_ptr<PowerLoss::Content> content;  // none for what nobody needs after a loss
    bool namesAtFirstSync;

    static PowerLossFile& of(sqlite3_file* file) { return *reinterpret_cast<PowerLossFile*>(file); }
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

struct PowerLossCalls {
    static bool isGone() { return present->isGone(); }
    static sqlite3_file* real(sqlite3_file* file) { return PowerLossFile::of(file).real(); }

    static int close(sqlite3_file* file)
    {
        PowerLossFile& ours = PowerLossFile::of(file);
        const int code = ours.real()->pMethods->xClose(ours.real());
        ours.content.reset();
        return code;
    }
    static int read(sqlite3_file* file, void* to, int bytes, sqlite3_int64 at)
    {
        if (isGone()) return SQLITE_IOERR_READ;
        return real(file)->pMethods->xRead(real(file), to, bytes, at);
    }
    static int write(sqlite3_file* file, const void* from, int bytes, sqlite3_int64 at)
    {
        if (isGone()) return SQLITE_IOERR_WRITE;
        PowerLossFile& ours = PowerLossFile::of(file);
        if (ours.content) {
            const std::lock_guard lock(present->m_mutex);
            ours.content->pending.push_back(
                {static_cast<std::size_t>(at),
                 {static_cast<const char*>(from), static_cast<std::size_t>(bytes)},
                 false});
        }
        return ours.real()->pMethods->xWrite(ours.real(), from, bytes, at);
    }
    static int truncate(sqlite3_file* file, sqlite3_int64 size)
    {
        if (isGone()) return SQLITE_IOERR_TRUNCATE;
        PowerLossFile& ours = PowerLossFile::of(file);
        if (ours.content) {
            const std::lock_guard lock(present->m_mutex);
            ours.content->pending.push_back({static_cast<std::size_t>(size), {}, true});
        }
        return ours.real()->pMethods->xTruncate(ours.real(), size);
    }
    static int sync(sqlite3_file* file, int)
    {
        PowerLossFile& ours = PowerLossFile::of(file);
        if (!ours.content) return SQLITE_OK;
        const bool names = std::exchange(ours.namesAtFirstSync, false);
        return present->sync(ours.content, names) ? SQLITE_OK : SQLITE_IOERR_FSYNC;
    }
    static int size(sqlite3_file* file, sqlite3_int64* size)
    {
        if (isGone()) return SQLITE_IOERR_FSTAT;
        return real(file)->pMethods->xFileSize(real(file), size);
    }
    static int lock(sqlite3_file* file, int level)
    {
        return real(file)->pMethods->xLock(real(file), level);
    }
    static int unlock(sqlite3_file* file, int level)
    {
        return real(file)->pMethods->xUnlock(real(file), level);
    }
    static int checkLock(sqlite3_file* file, int* out)
    {
        return real(file)->pMethods->xCheckReservedLock(real(file), out);
    }
    static int control(sqlite3_file* file, int what, void* argument)
    {
        return real(file)->pMethods->xFileControl(real(file), what, argument);
    }
    static int sectorSize(sqlite3_file* file)
    {
        return real(file)->pMethods->xSectorSize(real(file));
    }
    static int abilities(sqlite3_file* file)
    {
        return real(file)->pMethods->xDeviceCharacteristics(real(file));
    }
    static int shmMap(sqlite3_file* file, int page, int size, int extend, void volatile** out)
    {
        if (isGone()) return SQLITE_IOERR_SHMMAP;
        return real(file)->pMethods->xShmMap(real(file), page, size, extend, out);
    }
    static int shmLock(sqlite3_file* file, int offset, int count, int flags)
    {
        return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
    }
    static void shmBarrier(sqlite3_file* file) { real(file)->pMethods->xShmBarrier(real(file)); }
    static int shmUnmap(sqlite3_file* file, int remove)
    {
        return real(file)->pMethods->xShmUnmap(real(file), remove);
    }

    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags)
    {
        static const sqlite3_io_methods kMethods = {
            2,       close,      read,      write,   truncate,   sync,      size,
            lock,    unlock,     checkLock, control, sectorSize, abilities, shmMap,
            shmLock, shmBarrier, shmUnmap,  nullptr, nullptr};
        file->pMethods = nullptr;
        if (isGone()) return SQLITE_CANTOPEN;
        auto* ours = new (file) PowerLossFile{};
        const int code = system()->xOpen(system(), name, ours->real(), flags, outFlags);
        if (code != SQLITE_OK) return code;
        ours->base.pMethods = &kMethods;
        const int kept = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
        if (name == nullptr || (flags & kept) == 0) return code;
        const std::lock_guard lock(present->m_mutex);
        auto& content = present->m_now[std::filesystem::path(name).filename()];
        if (!content) {
            content = std::make_shared<PowerLoss::Content>();
            // As SQLite's own layer for Unix does it.
            ours->namesAtFirstSync = (flags & SQLITE_OPEN_MAIN_DB) == 0;
        }
        ours->content = content;
        return code;
    }
    static int remove(sqlite3_vfs*, const char* name, int syncsFolder)
    {
        if (isGone()) return SQLITE_IOERR_DELETE;
        const int code = system()->xDelete(system(), name, 0);
        const std::lock_guard lock(present->m_mutex);
        present->m_now.erase(std::filesystem::path(name).filename());
        if (syncsFolder != 0) present->m_safe = present->m_now;
        return code;
    }
    static int access(sqlite3_vfs*, const char* name, int flags, int* out)
    {
        if (isGone()) return SQLITE_IOERR_ACCESS;
        return system()->xAccess(system(), name, flags, out);
    }
};

PowerLoss::PowerLoss(const std::string& folder) : m_folder(folder)
{
    if (present != nullptr) throw std::runtime_error("one at a time");
    present = this;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ostringstream bytes;
        bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        auto content = std::make_shared<Content>();
        content->safe = bytes.str();
        m_now[entry.path().filename()] = content;
    }
    m_safe = m_now;

    static sqlite3_vfs layer = *system();
    layer.szOsFile = static_cast<int>(sizeof(PowerLossFile)) + system()->szOsFile;
    layer.zName = kName;
    layer.xOpen = PowerLossCalls::open;
    layer.xDelete = PowerLossCalls::remove;
    layer.xAccess = PowerLossCalls::access;
    ::sqlite3_vfs_register(&layer, 0);
}

PowerLoss::~PowerLoss() { present = nullptr; }

void PowerLoss::goAt(int sync, unsigned seed)
{
    const std::lock_guard lock(m_mutex);
    m_goesAt = sync == 0 ? 0 : m_syncs + sync;
    m_random.seed(seed);
}

void PowerLoss::go()
{
    const std::lock_guard lock(m_mutex);
    if (!m_isGone) lose();
}

bool PowerLoss::isGone() const
{
    const std::lock_guard lock(m_mutex);
    return m_isGone;
}

int PowerLoss::syncs() const
{
    const std::lock_guard lock(m_mutex);
    return m_syncs;
}

std::map<std::string, std::string> PowerLoss::leftOver() const
{
    const std::lock_guard lock(m_mutex);
    return m_leftOver;
}

bool PowerLoss::sync(const std::shared_ptr<Content>& content, bool alsoNames)
{
    const std::lock_guard lock(m_mutex);
    if (!m_isGone && ++m_syncs == m_goesAt) lose();
    if (m_isGone) return false;
    if (m_forgetsSyncs) return true;
    for (const Write& each : content->pending) {
        if (each.cuts) {
            content->safe.resize(each.at);
        } else {
            applyTo(content->safe, each.at, each.bytes);
        }
    }
    content->pending.clear();
    if (alsoNames) m_safe = m_now;
    return true;
}

void PowerLoss::lose()
{
    m_isGone = true;
    Names names = m_safe;
    for (const auto& [name, content] : m_now) {
        const auto safe = m_safe.find(name);
        if (safe != m_safe.end() && safe->second == content) continue;
        if (m_random() % 2 == 0) names[name] = content;
    }
    for (const auto& [name, content] : m_safe) {
        if (m_now.count(name) == 0 && m_random() % 2 == 0) names.erase(name);
    }
    for (const auto& [name, content] : names) m_leftOver[name] = survivor(*content);
}

std::string PowerLoss::survivor(const Content& content)
{
    std::string bytes = content.safe;
    // Some losses take all, some nothing, most of them this and that.
    const unsigned long mood = m_random() % 4;
    for (const Write& each : content.pending) {
        const unsigned long fate = mood == 0 ? 0 : mood == 1 ? 1 : m_random() % 4;
        if (fate == 0) continue;
        if (each.cuts) {
            bytes.resize(each.at);
            continue;
        }
        std::string written = each.bytes;
        if (fate == 2) written.resize(m_random() % (written.size() + 1));
        if (fate == 3) {
            const auto noise = static_cast<unsigned char>(1 + m_random() % 255);
            for (char& c : written) c = static_cast<char>(static_cast<unsigned char>(c) ^ noise);
        }
        applyTo(bytes, each.at, written);
    }
    return bytes;
}
