#pragma once

#include "service/core/AccessRules.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vpnd
{

// Most users that a group or a whole list may come to.
constexpr std::size_t kMaxUsers = 1000;

// Whom a name stands for.
struct FoundUsers {
    std::vector<uid_t> uids;
    std::string problem;  // "there is no user 'x'"; empty: they were found
};

// The machine's names of users and groups. Looking one up may wait, for a server of names too:
// not for the service's own thread.
class IUserNames
{
public:
    virtual ~IUserNames() = default;

    virtual FoundUsers user(const std::string& name) const = 0;
    // All that name it as their group, and all that it names; each once, by number.
    virtual FoundUsers members(const std::string& group) const = 0;

protected:
    IUserNames() = default;
    IUserNames(const IUserNames&) = default;
    IUserNames& operator=(const IUserNames&) = default;
};

// Adds whom one entry of a list in the configuration means: "everybody", a user or, behind "@",
// a group; or a user's number, which is not looked up. What is wrong with it; empty: nothing.
[[nodiscard]] std::string addUsers(Users& users, const std::string& entry, const IUserNames& names);
[[nodiscard]] std::string addUser(Users& users, std::int64_t uid);

// Those of the C library. Used by one thread of the process at a time.
class SystemUserNames final : public IUserNames
{
public:
    FoundUsers user(const std::string& name) const override;
    FoundUsers members(const std::string& group) const override;
};

}  // namespace vpnd
