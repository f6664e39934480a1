#include "service/daemon/Users.h"

#include "common/DisplayText.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vpnd
{
namespace
{

// What one entry may hold: a group names its members in it.
constexpr std::size_t kFirstEntryBytes = 4096;
constexpr std::size_t kMostEntryBytes = 1024 * 1024;
// Of users who are asked for their group.
constexpr std::size_t kMostUsers = 100000;
constexpr std::size_t kMaxNameBytes = 80;
// The kernel's user for all for whom it has no number.
constexpr uid_t kUnknownUser = 65534;

// Calls lookUp with a buffer that grows until the entry fits; the error's number.
template <class LookUp>
int withBuffer(std::vector<char>& buffer, const LookUp& lookUp)
{
    buffer.resize(std::max(buffer.size(), kFirstEntryBytes));
    for (;;) {
        const int error = lookUp();
        if (error == EINTR) continue;
        if (error != ERANGE || buffer.size() >= kMostEntryBytes) return error;
        buffer.resize(buffer.size() * 4);
    }
}

// The numbers that libraries give for "there is none" besides 0.
bool meansNone(int error)
{
    return error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
}

FoundUsers none(const std::string& kind, const std::string& name, int error)
{
    const std::string shown = kind + " '" + common::displayText(name) + "'";
    if (meansNone(error)) return {{}, "there is no " + shown};
    return {{}, shown + " cannot be looked up: " + std::strerror(error)};
}

// Adds all users whose own group it is; the error's number.
int addThoseOfGroup(gid_t group, std::vector<uid_t>& uids)
{
    std::vector<char> buffer;
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    ::setpwent();
    for (std::size_t i = 0; i < kMostUsers; ++i) {
        error = withBuffer(
            buffer, [&] { return ::getpwent_r(&entry, buffer.data(), buffer.size(), &found); });
        if (error != 0 || found == nullptr) break;
        if (entry.pw_gid == group && uids.size() <= kMaxUsers) uids.push_back(entry.pw_uid);
    }
    ::endpwent();
    return meansNone(error) ? 0 : error;
}

// Once each, by number.
void sort(std::vector<uid_t>& uids)
{
    std::sort(uids.begin(), uids.end());
    uids.erase(std::unique(uids.begin(), uids.end()), uids.end());
}

std::string notAnybody(const std::string& name)
{
    return name + " stands for callers whom the kernel does not know, and they may do no more";
}

}  // namespace

std::string addUser(Users& users, std::int64_t uid)
{
    // The highest of all means none.
    if (uid < 0 || uid >= std::int64_t{UINT32_MAX}) {
        return std::to_string(uid) + " is no number of a user";
    }
    if (uid == kUnknownUser) return notAnybody(std::to_string(uid));
    users.uids.push_back(static_cast<uid_t>(uid));
    sort(users.uids);
    return "";
}

std::string addUsers(Users& users, const std::string& entry, const IUserNames& names)
{
    if (entry == "everybody") {
        users.everybody = true;
        return "";
    }
    const bool isGroup = !entry.empty() && entry.front() == '@';
    const std::string name = entry.substr(isGroup ? 1 : 0);
    const std::string shown = '"' + common::displayText(entry.substr(0, kMaxNameBytes)) + '"';
    if (name.empty() || entry.size() > kMaxNameBytes || name.find('\0') != name.npos) {
        return shown + " is no name of a user or group";
    }
    FoundUsers found = isGroup ? names.members(name) : names.user(name);
    const auto unknown = std::remove(found.uids.begin(), found.uids.end(), kUnknownUser);
    if (unknown != found.uids.end() && !isGroup) return notAnybody(shown);
    users.uids.insert(users.uids.end(), found.uids.begin(), unknown);
    sort(users.uids);
    if (users.uids.size() <= kMaxUsers) return found.problem;
    users.uids.clear();
    return shown + " makes it more than " + std::to_string(kMaxUsers) + " users";
}

FoundUsers SystemUserNames::user(const std::string& name) const
{
    std::vector<char> buffer;
    passwd entry{};
    passwd* found = nullptr;
    const int error = withBuffer(buffer, [&] {
        return ::getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
    });
    if (error != 0 || found == nullptr) return none("user", name, error);
    return {{entry.pw_uid}, ""};
}

FoundUsers SystemUserNames::members(const std::string& name) const
{
    std::vector<char> buffer;
    group entry{};
    group* found = nullptr;
    int error = withBuffer(buffer, [&] {
        return ::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
    });
    if (error != 0 || found == nullptr) return none("group", name, error);

    FoundUsers members;
    error = addThoseOfGroup(entry.gr_gid, members.uids);
    if (error != 0) return none("group", name, error);
    for (char** member = entry.gr_mem; *member != nullptr; ++member) {
        if (members.uids.size() > kMaxUsers) break;
        // A group may name users who are gone.
        const FoundUsers one = user(*member);
        members.uids.insert(members.uids.end(), one.uids.begin(), one.uids.end());
    }
    sort(members.uids);
    if (members.uids.size() > kMaxUsers) {
        return {{},
                "group '" + common::displayText(name) + "' has more than " +
                    std::to_string(kMaxUsers) + " members"};
    }
    return members;
}

}  // namespace vpnd
