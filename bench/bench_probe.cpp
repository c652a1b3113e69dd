// What a debugger does to the simulated target through the library's interface while its processor thread runs at full
// speed: halts, steps, background reads. Prints lines "name value unit peer peer-value ratio".
#include "probe/novik.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using CClock = std::chrono::steady_clock;

// movs r0, #0; ldr r1, =RAM; loop: adds r0, #1; str r0, [r1]; nop; b loop
const uint16_t Counter[] = {0x2000, 0x4902, 0x3001, 0x6008, 0xBF00, 0xE7FB, 0x0000, 0x2000};
constexpr uint32_t CODE = 0x40;

bool Connect() {
    const uint32_t Vectors[2] = {0x20010000, CODE | 1};
    char sError[256] = "";
    NOVIKARM_SelectUSB(0);
    if (NOVIKARM_Open() || NOVIKARM_ExecCommand("device=Cortex-M4", sError, sizeof(sError)) || NOVIKARM_Connect()) {
        std::fprintf(stderr, "could not connect: %s\n", sError);
        return false;
    }
    NOVIKARM_Halt();
    NOVIKARM_BeginDownload(0);
    NOVIKARM_WriteMem(0, sizeof(Vectors), Vectors);
    NOVIKARM_WriteMem(CODE, sizeof(Counter), Counter);
    return NOVIKARM_EndDownload() == NOVIK_DL_OK && NOVIKARM_Reset() == 0;
}

double Seconds(CClock::time_point Start) { return std::chrono::duration<double>(CClock::now() - Start).count(); }

// From the call to the halted target: median and worst of many, each after a run of some milliseconds.
void MeasureHalt() {
    constexpr int NUM_HALTS = 1000;
    std::vector<double> Times;
    for (int Index = 0; Index < NUM_HALTS; Index++) {
        NOVIKARM_GoEx(0, 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const auto Start = CClock::now();
        NOVIKARM_Halt();
        Times.push_back(Seconds(Start) * 1e3);
    }
    std::sort(Times.begin(), Times.end());
    const double Median = Times[Times.size() / 2];
    std::printf("probe_halt_median %.3f ms goal 2 %.3f\n", Median, Median / 2);
    const double P99 = Times[Times.size() * 99 / 100];
    std::printf("probe_halt_p99 %.3f ms goal 2 %.2f\n", P99, P99 / 2);
    std::printf("probe_halt_max %.3f ms goal 2 %.2f\n", Times.back(), Times.back() / 2);
}

// A step, and a step with what a debugger reads after each: 17 registers.
void MeasureSteps() {
    constexpr int NUM_STEPS = 200000;
    const uint32_t Before = NOVIKARM_ReadReg(0);
    auto Start = CClock::now();
    for (int Index = 0; Index < NUM_STEPS; Index++) {
        NOVIKARM_Step();
    }
    if (NOVIKARM_ReadReg(0) - Before != NUM_STEPS / 4) { // four instructions a round
        std::fprintf(stderr, "the steps did not happen\n");
        return;
    }
    const double Bare = NUM_STEPS / Seconds(Start);
    uint32_t Indices[17], Values[17];
    uint8_t Status[17];
    for (uint32_t Index = 0; Index < 17; Index++) {
        Indices[Index] = Index;
    }
    Start = CClock::now();
    for (int Index = 0; Index < NUM_STEPS; Index++) {
        NOVIKARM_Step();
        NOVIKARM_ReadRegs(Indices, Values, Status, 17);
    }
    const double WithRegs = NUM_STEPS / Seconds(Start);
    std::printf("probe_steps %.0f 1/s goal 100000 %.1f\n", Bare, Bare / 1e5);
    std::printf("probe_steps_with_registers %.0f 1/s goal 100000 %.1f\n", WithRegs, WithRegs / 1e5);
}

// The processor's speed beside the reads tells what they cost it.
void MeasureBackgroundReads() {
    constexpr int NUM_READS = 5000;
    std::vector<uint8_t> Block(64 * 1024), Copy(Block.size());
    uint32_t Before = 0, After = 0;
    NOVIKARM_GoEx(0, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    NOVIKARM_ReadMem(0x20000000, 4, &Before);
    const auto Start = CClock::now();
    for (int Index = 0; Index < NUM_READS; Index++) {
        NOVIKARM_ReadMem(0x20000000, static_cast<uint32_t>(Block.size()), Block.data());
    }
    const double Time = Seconds(Start);
    NOVIKARM_ReadMem(0x20000000, 4, &After);
    NOVIKARM_Halt();
    const auto CopyStart = CClock::now();
    for (int Index = 0; Index < NUM_READS; Index++) {
        std::memcpy(Copy.data(), Block.data(), Block.size());
        Block[static_cast<size_t>(Index)] = Copy[static_cast<size_t>(Index) + 1];
    }
    const double Bytes = 1e-6 * NUM_READS * static_cast<double>(Block.size());
    const double Speed = Bytes / Time, Memcpy = Bytes / Seconds(CopyStart);
    std::printf("probe_background_read %.0f MB/s memcpy %.0f %.3f\n", Speed, Memcpy, Speed / Memcpy);
    std::printf("probe_speed_beside_reads %.1f Minst/s - - -\n", (After - Before) * 4.0 / Time / 1e6);
}

} // namespace

int main() {
    if (!Connect()) {
        return 1;
    }
    MeasureHalt();
    MeasureSteps();
    MeasureBackgroundReads();
    NOVIKARM_Close();
    return 0;
}
