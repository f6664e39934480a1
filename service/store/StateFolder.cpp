#include "service/store/StateFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <set>
#include <string_view>

namespace vpnd
{
namespace
{

constexpr const char* kOtherwise =
    "; name another folder with --state DIR, or keep nothing with --state none";
constexpr std::string_view kDatabase = "vpnd.db";
constexpr std::string_view kSetAside = "vpnd.db.damaged-";
// What SQLite puts beside a file. The index of the log is made anew.
constexpr std::array<const char*, 2> kCompanions = {"-wal", "-journal"};
constexpr mode_t kForOwnerOnly = S_IRUSR | S_IWUSR;

std::string messageOf(int error) { return std::strerror(error); }

std::string ownerRule()
{
    return "; it must belong to the user that orva-vpnd runs as, uid " +
           std::to_string(::geteuid());
}

// UTC, because local time can be the same twice.
std::string nowAsName()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    std::array<char, 32> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", &parts)};
}

// The present time as a name, and a number if there is such a name already.
std::string nameBehind(const std::set<std::string>& names)
{
    const std::string now = std::string(kSetAside) + nowAsName();
    const auto latest = std::find_if(names.rbegin(), names.rend(), [&](const std::string& name) {
        return name.compare(0, now.size(), now) == 0;
    });
    if (latest == names.rend()) return now;
    const int number = latest->size() > now.size() ? std::atoi(&(*latest)[now.size() + 1]) : 1;
    const std::string digits = std::to_string(number + 1);
    return now + (digits.size() == 1 ? "-0" : "-") + digits;
}

void closeToOthers(const std::string& path, const struct stat& status)
{
    if ((status.st_mode & 0777) != kForOwnerOnly) ::chmod(path.c_str(), kForOwnerOnly);
}

}  // namespace

std::string databasePathIn(const std::string& folder)
{
    return folder + "/" + std::string(kDatabase);
}

StateFolder::StateFolder(std::string path)
    : m_path(std::move(path)), m_databasePath(databasePathIn(m_path))
{
    const int error = ::mkdir(m_path.c_str(), S_IRWXU) == 0 ? 0 : errno;
    struct stat status;
    if (error != 0 && ::stat(m_path.c_str(), &status) != 0) {
        throw StoreError(m_path + " cannot be created: " + messageOf(error) + kOtherwise);
    }
    m_folder.reset(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder) throw StoreError(m_path + ": " + messageOf(errno) + kOtherwise);
    lock();
}

void StateFolder::lock()
{
    // File systems that know no locks must do without.
    if (::flock(m_folder.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        throw StoreError(m_path + " is used by another orva-vpnd: end that one" + kOtherwise);
    }
}

int StateFolder::makeDatabase() const
{
    const char* path = m_databasePath.c_str();
    const common::Descriptor made(
        ::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kForOwnerOnly));
    if (made) return ::fchmod(made.get(), kForOwnerOnly) == 0 ? 0 : errno;
    if (errno == EACCES || errno == EPERM) {
        throw StoreError(m_path + ": " + messageOf(errno) + ownerRule() + kOtherwise);
    }
    if (errno != EEXIST) return errno;
    if (::access(m_path.c_str(), W_OK | X_OK) != 0 && errno == EACCES) {
        throw StoreError(m_path + ": " + messageOf(errno) + ownerRule() + kOtherwise);
    }

    // Looked at by name only: to close a descriptor of the file would end SQLite's locks.
    struct stat status;
    if (::lstat(path, &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) {
        throw StoreError(m_databasePath + " is not a regular file" + kOtherwise);
    }
    if (::access(path, R_OK | W_OK) != 0) {
        if (errno != EACCES) return errno;
        throw StoreError(m_databasePath + ": " + messageOf(errno) + ownerRule() + kOtherwise);
    }
    closeToOthers(m_databasePath, status);
    for (const char* companion : {"-wal", "-shm", "-journal"}) {
        const std::string beside = m_databasePath + companion;
        if (::lstat(beside.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
            closeToOthers(beside, status);
        }
    }
    return 0;
}

void StateFolder::removeLog() const
{
    ::unlink((m_databasePath + "-wal").c_str());
    ::unlink((m_databasePath + "-shm").c_str());
}

std::string StateFolder::setDatabaseAside() const
{
    std::set<std::string> names = namesSetAside();
    const std::string name = nameBehind(names);
    const std::string target = m_path + "/" + name;
    // The log first: beside a new file it would be taken for that one's.
    for (const char* companion : kCompanions) {
        const std::string beside = m_databasePath + companion;
        if (::rename(beside.c_str(), (target + companion).c_str()) != 0 && errno != ENOENT) {
            return {};
        }
    }
    ::unlink((m_databasePath + "-shm").c_str());
    if (::rename(m_databasePath.c_str(), target.c_str()) != 0) return {};
    ::fsync(m_folder.get());
    // The new one stays, even if the clock says that it is the oldest.
    for (auto oldest = names.begin(); names.size() >= kMostSetAside; oldest = names.erase(oldest)) {
        const std::string path = m_path + "/" + *oldest;
        ::unlink(path.c_str());
        for (const char* companion : kCompanions) ::unlink((path + companion).c_str());
    }
    return target;
}

std::set<std::string> StateFolder::namesSetAside() const
{
    std::set<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(m_path.c_str()), ::closedir);
    while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr) {
        std::string name = entry->d_name;
        if (name.compare(0, kSetAside.size(), kSetAside) != 0) continue;
        // One that has its log beside it counts once.
        for (const std::string_view companion : kCompanions) {
            const std::size_t end = name.size() - companion.size();
            if (name.compare(end, companion.size(), companion) == 0) name.resize(end);
        }
        names.insert(name);
    }
    return names;
}

}  // namespace vpnd
