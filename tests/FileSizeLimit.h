#pragma once

#include <csignal>
#include <sys/resource.h>

/// Lets every write behind NumBytes of a file fail for as long as it lives, as on a device that is full.
class CFileSizeLimit {
public:
    explicit CFileSizeLimit(rlim_t NumBytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_Old);
        const rlimit New{NumBytes, m_Old.rlim_max};
        setrlimit(RLIMIT_FSIZE, &New);
    }
    ~CFileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_Old); }
    CFileSizeLimit(const CFileSizeLimit&) = delete;
    CFileSizeLimit& operator=(const CFileSizeLimit&) = delete;

private:
    rlimit m_Old{};
};
