#include "panel/view/WriteAll.h"

#include <poll.h>
#include <unistd.h>
#include <cerrno>

namespace panel
{

bool writeAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(fd, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            // Whoever shares the descriptor has made it so. A second Ctrl-C ends this wait.
            pollfd entry = {fd, POLLOUT, 0};
            ::poll(&entry, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace panel
