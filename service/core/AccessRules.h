#pragma once

#include "service/core/Caller.h"

#include <sys/types.h>

#include <vector>

namespace vpnd
{

// Some users, or everybody.
struct Users {
    bool everybody = false;  // also callers of whom nothing is known
    std::vector<uid_t> uids;

    // Whether the caller is a known one of them, or everybody is meant.
    bool contain(const Caller& caller) const;
};

// Who may do what. The service itself may do everything; a caller of whom nothing is known
// may read where everybody may, and nothing else.
struct AccessRules {
    Users readers;
    Users changers;
    Users secretReaders;       // who sees the password
    bool masksSecrets = true;  // others see kSecretMask, or else an empty text

    // Root and this user change everything and see the password; everybody reads.
    [[nodiscard]] static AccessRules standard(uid_t service);

    bool mayRead(const Caller& caller) const;
    bool mayChange(const Caller& caller) const;
    bool maySeeSecrets(const Caller& caller) const;
};

// What stands in a secret's place.
constexpr const char* kSecretMask = "********";

}  // namespace vpnd
