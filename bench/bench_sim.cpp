// Speed of the simulated target through the library's interface, with trace ring and per-address counters on as they
// always are. Prints lines "name value unit peer peer-value ratio". The programs built from C have QEMU as their peer,
// which runs them in the same minute without a trace. Time is that of the processor, so that other work on the machine
// counts on neither side.
#include "probe/novik.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
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

constexpr auto RUN_TIME = std::chrono::milliseconds(1500);
constexpr uint32_t ROUNDS_ADDR = 0x2000F000; // where the programs count their rounds

struct CSpeed {
    double Mips = 0;
    double RoundsPerSecond = 0;
    double InstsPerRound = 0;
};

double CpuTime() {
    timespec Time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &Time);
    return static_cast<double>(Time.tv_sec) + static_cast<double>(Time.tv_nsec) * 1e-9;
}

bool Connect() {
    char sError[256] = "";
    NOVIKARM_SelectUSB(0);
    if (NOVIKARM_Open() || NOVIKARM_ExecCommand("device=Cortex-M4", sError, sizeof(sError)) || NOVIKARM_Connect()) {
        std::fprintf(stderr, "could not connect: %s\n", sError);
        return false;
    }
    NOVIKARM_ExecCommand("SimPowerCycle", sError, sizeof(sError));
    NOVIKARM_Halt();
    return true;
}

void LoadCode(const uint16_t* pCode, size_t NumBytes) {
    const uint32_t Vectors[2] = {0x20010000, 0x41};
    NOVIKARM_BeginDownload(0);
    NOVIKARM_WriteMem(0, sizeof(Vectors), Vectors);
    NOVIKARM_WriteMem(0x40, static_cast<uint32_t>(NumBytes), pCode);
    NOVIKARM_EndDownload();
}

// False if there is no such file.
bool LoadElf(const std::string& sPath) {
    std::ifstream File(sPath, std::ios::binary);
    const std::vector<char> Data((std::istreambuf_iterator<char>(File)), {});
    if (Data.size() < sizeof(Elf32_Ehdr)) {
        return false;
    }
    Elf32_Ehdr Header;
    std::memcpy(&Header, Data.data(), sizeof(Header));
    NOVIKARM_BeginDownload(0);
    for (size_t Index = 0; Index < Header.e_phnum; Index++) {
        Elf32_Phdr Segment;
        std::memcpy(&Segment, &Data[Header.e_phoff + Index * Header.e_phentsize], sizeof(Segment));
        if (Segment.p_type == PT_LOAD && Segment.p_filesz) {
            NOVIKARM_WriteMem(Segment.p_paddr, Segment.p_filesz, &Data[Segment.p_offset]);
        }
    }
    NOVIKARM_EndDownload();
    return true;
}

uint32_t ReadWord(uint32_t Addr) {
    uint32_t Value = 0;
    NOVIKARM_ReadMem(Addr, sizeof(Value), &Value);
    return Value;
}

CSpeed Measure() {
    NOVIKARM_Reset();
    NOVIK_STRACE_Start();
    const uint32_t FirstCycle = NOVIKARM_ReadReg(NOVIK_REG_CYCCNT), FirstRound = ReadWord(ROUNDS_ADDR);
    const double Start = CpuTime();
    NOVIKARM_GoEx(0, 1);
    std::this_thread::sleep_for(RUN_TIME);
    const bool Ran = NOVIKARM_IsHalted() == 0;
    NOVIKARM_Halt();
    const double Time = CpuTime() - Start;
    const double Insts = static_cast<double>(NOVIKARM_ReadReg(NOVIK_REG_CYCCNT) - FirstCycle);
    const double Rounds = static_cast<double>(ReadWord(ROUNDS_ADDR) - FirstRound);
    if (!Ran) {
        std::fprintf(stderr, "the program has halted at 0x%x\n", NOVIKARM_ReadReg(NOVIK_REG_PC));
        return {};
    }
    return {Insts / Time / 1e6, Rounds / Time, Rounds > 0 ? Insts / Rounds : 0};
}

// Rounds a second of processor time; 0 without QEMU.
double MeasureQemu(const std::string& sImage) {
    int In[2], Out[2];
    if (pipe(In) != 0 || pipe(Out) != 0) {
        return 0;
    }
    const pid_t Pid = fork();
    if (Pid == 0) {
        dup2(In[0], STDIN_FILENO);
        dup2(Out[1], STDOUT_FILENO);
        close(In[1]);
        close(Out[0]);
        execlp("qemu-system-arm", "qemu-system-arm", "-M", "mps2-an386", "-display", "none", "-serial", "none",
               "-monitor", "stdio", "-kernel", sImage.c_str(), nullptr);
        _exit(127);
    }
    close(In[0]);
    close(Out[1]);
    signal(SIGPIPE, SIG_IGN);
    std::this_thread::sleep_for(RUN_TIME);
    char sCommand[64];
    const int Length = std::snprintf(sCommand, sizeof(sCommand), "xp /1wx 0x%x\nquit\n", ROUNDS_ADDR);
    std::string sReply;
    if (write(In[1], sCommand, static_cast<size_t>(Length)) == Length) {
        char Buffer[4096];
        for (ssize_t Got; (Got = read(Out[0], Buffer, sizeof(Buffer))) > 0;) {
            sReply.append(Buffer, static_cast<size_t>(Got));
        }
    }
    close(In[1]);
    close(Out[0]);
    rusage Usage{};
    wait4(Pid, nullptr, 0, &Usage);
    const double Time = static_cast<double>(Usage.ru_utime.tv_sec + Usage.ru_stime.tv_sec) +
                        static_cast<double>(Usage.ru_utime.tv_usec + Usage.ru_stime.tv_usec) * 1e-6;
    const size_t Pos = sReply.find(": 0x");
    return Pos == std::string::npos ? 0 : static_cast<double>(std::strtoul(&sReply[Pos + 2], nullptr, 16)) / Time;
}

void PrintPlain(const char* sName, const CSpeed& Speed) { std::printf("%s %.1f Minst/s - - -\n", sName, Speed.Mips); }

void MeasureProgram(const char* sName, const std::string& sImage) {
    if (!LoadElf(sImage)) {
        std::printf("%s - Minst/s - - - (no cross compiler)\n", sName);
        return;
    }
    const CSpeed Speed = Measure();
    const double Peer = MeasureQemu(sImage) * Speed.InstsPerRound / 1e6;
    if (Peer > 0) {
        std::printf("%s %.1f Minst/s qemu_untraced %.1f %.2f\n", sName, Speed.Mips, Peer, Speed.Mips / Peer);
    } else {
        PrintPlain(sName, Speed);
    }
}

// The program that is loaded, again with breakpoints, and with watchpoints, that are not hit.
void MeasureStops(const char* sName, const char* sWatchName) {
    const CSpeed Plain = Measure();
    for (uint32_t Index = 0; Index < 6; Index++) {
        NOVIKARM_SetBPEx(0x3F000 + Index * 2, 0xFFFFFFFF);
    }
    const CSpeed Breakpoints = Measure();
    NOVIKARM_ClrBPEx(NOVIK_HANDLE_ALL);
    for (uint32_t Index = 0; Index < 4; Index++) {
        NOVIKARM_DATA_EVENT Event = {};
        Event.SizeOfStruct = sizeof(Event);
        Event.Type = 1;
        Event.Addr = 0x2000E000 + Index * 4;
        Event.DataMask = 0xFFFFFFFF;
        Event.AccessMask = 0x17; // either direction, any size
        uint32_t Handle;
        if (NOVIKARM_SetDataEvent(&Event, &Handle) < 0) {
            std::fprintf(stderr, "watchpoint refused\n");
        }
    }
    const CSpeed Watchpoints = Measure();
    NOVIKARM_ClrDataEvent(NOVIK_HANDLE_ALL);
    for (const auto& [sWhat, Speed] : {std::pair(sName, Breakpoints), std::pair(sWatchName, Watchpoints)}) {
        std::printf("%s %.1f Minst/s sim_kernels %.1f %.2f\n", sWhat, Speed.Mips, Plain.Mips, Speed.Mips / Plain.Mips);
    }
}

} // namespace

int main() {
    if (!Connect()) {
        return 1;
    }
    LoadCode(Mixed, sizeof(Mixed));
    PrintPlain("sim_mixed_traced", Measure());
    LoadCode(Tight, sizeof(Tight));
    PrintPlain("sim_tight_traced", Measure());
    MeasureProgram("sim_floats_traced", FIRMWARE_DIR "/floats-m4f.elf");
    MeasureProgram("sim_kernels_traced", FIRMWARE_DIR "/kernels-m4f.elf");
    MeasureStops("sim_with_breakpoints", "sim_with_watchpoints");
    NOVIKARM_Close();
    return 0;
}
