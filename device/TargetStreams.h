#pragma once

// Data streams of the target as thin calls to the probe: RTT, SWO, sampling, instruction trace. Device thread.

#include "base/Types.h"

class CTarget;
struct Job;

class CTargetStreams {
public:
    explicit CTargetStreams(CTarget& Target) : m_T(Target) {}

    /// Stops RTT, sampling, SWO on all ports and the instruction trace.
    void StopAll();

private:
    CTarget& m_T;
};
