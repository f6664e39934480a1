#include "service/core/AccessRules.h"

#include <algorithm>

namespace vpnd
{
namespace
{

bool isService(const Caller& caller) { return caller.interface == Interface::kService; }

}  // namespace

bool Users::contain(const Caller& caller) const
{
    if (everybody) return true;
    return caller.uid && std::find(uids.begin(), uids.end(), *caller.uid) != uids.end();
}

AccessRules AccessRules::standard(uid_t service)
{
    AccessRules rules;
    rules.readers.everybody = true;
    rules.changers.uids = {0};
    if (service != 0) rules.changers.uids.push_back(service);
    rules.secretReaders = rules.changers;
    return rules;
}

bool AccessRules::mayRead(const Caller& caller) const
{
    return isService(caller) || readers.contain(caller);
}

bool AccessRules::mayChange(const Caller& caller) const
{
    return isService(caller) || (caller.uid && changers.contain(caller));
}

bool AccessRules::maySeeSecrets(const Caller& caller) const
{
    return isService(caller) || (caller.uid && secretReaders.contain(caller));
}

}  // namespace vpnd
