// Speed of the simulated target through the library's interface, with trace ring and per-address counters on as they
// always are. Prints lines "name value unit peer peer-value ratio"; there is no peer for these.
#include "probe/novik.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace {

// A mix of what compiled programs do: loads, stores, arithmetic, compare and branch, a call.
const uint16_t Mixed[] = {
    0x2000,         // movs r0, #0
    0x4908,         // ldr r1, [pc, #32] -> 0x20000000
    0x2200,         // movs r2, #0
    0xF000, 0xF804, // loop: bl func
    0x3201,         // adds r2, #1
    0x600A,         // str r2, [r1]
    0xE7FA,         // b loop
    0xBF00,
    0xB510, // func: push {r4, lr}
    0x680B, // ldr r3, [r1]
    0x18C0, // adds r0, r0, r3
    0x4053, // eors r3, r2
    0x604B, // str r3, [r1, #4]
    0x2B00, // cmp r3, #0
    0xD0FF, // beq next
    0xBD10, // pop {r4, pc}
    0xBF00, 0x0000, 0x2000,
};

// A short loop of arithmetic: the dispatch alone.
const uint16_t Tight[] = {
    0x2000, // movs r0, #0
    0x3001, // loop: adds r0, #1
    0x4041, // eors r1, r0
    0x1852, // adds r2, r2, r1
    0xE7FB, // b loop
};

double MeasureMips(const uint16_t* pCode, size_t NumBytes) {
    constexpr auto RUN_TIME = std::chrono::milliseconds(1500);
    const uint32_t Vectors[2] = {0x20010000, 0x41};
    char sError[256] = "";
    NOVIKARM_SelectUSB(0);
    if (NOVIKARM_Open() || NOVIKARM_ExecCommand("device=Cortex-M4", sError, sizeof(sError)) || NOVIKARM_Connect()) {
        std::fprintf(stderr, "could not connect: %s\n", sError);
        return 0;
    }
    NOVIKARM_Halt();
    NOVIKARM_BeginDownload(0);
    NOVIKARM_WriteMem(0, sizeof(Vectors), Vectors);
    NOVIKARM_WriteMem(0x40, static_cast<uint32_t>(NumBytes), pCode);
    NOVIKARM_EndDownload();
    NOVIKARM_Reset();
    NOVIK_STRACE_Start();
    const auto Start = std::chrono::steady_clock::now();
    NOVIKARM_GoEx(0, 1);
    std::this_thread::sleep_for(RUN_TIME);
    const bool Ran = NOVIKARM_IsHalted() == 0;
    NOVIKARM_Halt();
    const std::chrono::duration<double> Time = std::chrono::steady_clock::now() - Start;
    std::vector<NOVIK_STRACE_INST_STAT> Stats(4);
    NOVIK_STRACE_GetInstStats(Stats.data(), 0x40, 4, 8, 9);
    const double Count = static_cast<double>(Stats[1].Count);
    NOVIKARM_Close();
    return Ran ? Count / Time.count() / 1e6 : 0;
}

} // namespace

int main() {
    std::printf("sim_mixed_traced %.1f Minst/s - - -\n", MeasureMips(Mixed, sizeof(Mixed)));
    std::printf("sim_tight_traced %.1f Minst/s - - -\n", MeasureMips(Tight, sizeof(Tight)));
    return 0;
}
