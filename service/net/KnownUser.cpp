#include "service/net/KnownUser.h"

#include "common/Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>

namespace vpnd
{
namespace
{

// Of users that have no number in a namespace, where nothing else is set.
constexpr uid_t kOverflowUid = 65534;

uid_t readOverflowUid()
{
    const common::Descriptor file(::open("/proc/sys/kernel/overflowuid", O_RDONLY | O_CLOEXEC));
    char text[16];
    const ssize_t count = file ? ::read(file.get(), text, sizeof text) : 0;
    uid_t uid = kOverflowUid;
    if (count > 0) std::from_chars(text, text + count, uid);
    return uid;
}

}  // namespace

std::optional<uid_t> knownUser(uid_t uid)
{
    static const uid_t overflowUid = readOverflowUid();
    if (uid == kOverflowUid || uid == overflowUid || uid == static_cast<uid_t>(-1)) return {};
    return uid;
}

}  // namespace vpnd
