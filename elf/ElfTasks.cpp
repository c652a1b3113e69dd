#include "elf/ElfTasks.h"

#include "elf/Elf.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <exception>
#include <new>
#include <thread>

namespace {

constexpr size_t MAX_THREADS = 4;

} // namespace

U64 ELF_GetCpuTime() {
#ifdef CLOCK_THREAD_CPUTIME_ID
    timespec Time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &Time);
    return static_cast<U64>(Time.tv_sec) * 1'000'000'000 + static_cast<U64>(Time.tv_nsec);
#else
    return static_cast<U64>(std::clock()) * (1'000'000'000 / CLOCKS_PER_SEC);
#endif
}

void ELF_RunTasks(const std::vector<ELF_TASK>& Tasks, U64 Size) {
    std::atomic<size_t> Next = 0;
    std::atomic<bool> IsOutOfMemory = false;
    std::vector<ELF_MESSAGES> Messages(Tasks.size());
    const auto Work = [&] {
        for (size_t i = Next++; i < Tasks.size(); i = Next++) {
            const U64 Start = ELF_GetCpuTime();
            ELF_KeepMessages(&Messages[i]);
            try {
                Tasks[i].Run();
            } catch (const std::bad_alloc&) {
                IsOutOfMemory = true; // thrown out of a thread it would end the program
            }
            ELF_KeepMessages(nullptr);
            if (Tasks[i].pCpuTime != nullptr) {
                std::atomic_ref(*Tasks[i].pCpuTime) += ELF_GetCpuTime() - Start;
            }
        }
    };
    const size_t MaxThreads =
        Size < ELF_MIN_PARALLEL ? 1 : std::clamp<size_t>(std::thread::hardware_concurrency(), 1, MAX_THREADS);
    std::vector<std::thread> Threads;
    for (size_t i = 1; i < std::min(MaxThreads, Tasks.size()); ++i) {
        Threads.emplace_back(Work);
    }
    Work();
    for (std::thread& Thread : Threads) {
        Thread.join();
    }
    for (const ELF_MESSAGES& List : Messages) {
        for (const auto& [Level, sText] : List) {
            ELF_Report(Level, sText.c_str());
        }
    }
    if (IsOutOfMemory) {
        throw std::bad_alloc();
    }
}
