#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

// This process has no descriptor left for as long as this lives.
class FewDescriptors
{
public:
    FewDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit small = m_before;
        small.rlim_cur = 128;
        if (::setrlimit(RLIMIT_NOFILE, &small) != 0) throw std::runtime_error("no limit");
        for (int fd = ::dup(0); fd >= 0; fd = ::dup(0)) m_fillers.push_back(fd);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors()
    {
        ::setrlimit(RLIMIT_NOFILE, &m_before);
        while (!m_fillers.empty()) leave();
    }

    // Leaves one descriptor after all.
    void leave()
    {
        ::close(m_fillers.back());
        m_fillers.pop_back();
    }
    // Not even one that is given up can be used again, until the end of this.
    static void none()
    {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = 0;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }

private:
    rlimit m_before{};
    std::vector<int> m_fillers;
};
