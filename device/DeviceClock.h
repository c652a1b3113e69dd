#pragma once

// The millisecond clock of target control. Tests put their own in its place, so that no test waits for real time.

#include "base/Types.h"

class CDeviceClock {
public:
    virtual ~CDeviceClock() = default;
    /// Milliseconds of a monotonic clock. Any thread.
    virtual U64 NowMs();
    /// Suspends the calling thread. Any thread.
    virtual void SleepMs(U32 NumMs);
};
