#pragma once

// Work of opening a file that is spread over the processor's cores.

#include "base/Types.h"

#include <functional>
#include <vector>

constexpr U64 ELF_MIN_PARALLEL = 1 << 20; ///< bytes of input; less isn't worth a thread

struct ELF_TASK {
    std::function<void()> Run;
    U64* pCpuTime = nullptr; ///< ELF_RunTasks() adds the nanoseconds of processor time that the task took, if not null
};

/// Runs each task once and returns when all are done: on up to four threads, the caller's among them, or on the
/// caller's alone if Size, the bytes of input of all together, is below ELF_MIN_PARALLEL. They start in their order.
/// If one runs out of memory the others still run; then std::bad_alloc is thrown. Tasks must not throw anything else.
void ELF_RunTasks(const std::vector<ELF_TASK>& Tasks, U64 Size);

/// Processor time of the calling thread in nanoseconds, from any start.
U64 ELF_GetCpuTime();
