#pragma once

// Work of opening a file that is spread over the processor's cores.

#include "base/Types.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

constexpr U64 ELF_MIN_PARALLEL = 1 << 20; ///< bytes of input; less isn't worth a thread

struct ELF_TASK {
    std::function<void()> Run;
    U64* pCpuTime = nullptr; ///< ELF_RunTasks() adds the nanoseconds of processor time that the task took, if not null
};

/// Runs each task once and returns when all are done: on up to four threads, the caller's among them, or on the
/// caller's alone if Size, the bytes of input of all together, is below ELF_MIN_PARALLEL. They start in their order.
/// If one runs out of memory the others still run; then std::bad_alloc is thrown. Tasks must not throw anything else.
/// What they report goes to the sink at the end, in the order of the tasks.
void ELF_RunTasks(const std::vector<ELF_TASK>& Tasks, U64 Size);

/// Processor time of the calling thread in nanoseconds, from any start.
U64 ELF_GetCpuTime();

/// Level and text of messages that wait.
using ELF_MESSAGES = std::vector<std::pair<U32, std::string>>;
/// Puts what this thread reports into the list from now on; null gives it to the sink again.
void ELF_KeepMessages(ELF_MESSAGES* pMessages);
/// The next error of the debug information is reported even if its text is that of the last one.
void ELF_ForgetLastError();
