#pragma once

// A scripted probe: every function of the library's table is answered from here and every call is noted. Answers,
// failures and the time that calls take are under the test's control. What the test leaves open is answered from a
// declared target: memory regions, registers, breakpoint units, and a recording that steps and runs replay.

#include "device/DeviceClock.h"
#include "device/NovikFuncs.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QStringList>
#include <array>
#include <atomic>
#include <deque>
#include <functional>
#include <mutex>

struct FAKE_BP {
    U32 Handle;
    U32 Addr;
    U32 Flags;
};

struct FAKE_WP {
    U32 Handle;
    NOVIKARM_DATA_EVENT Event;
};

/// Memory of a declared target. Flash is written by downloads only.
struct FAKE_REGION {
    U32 Addr;
    U32 Size;
    bool IsFlash;
};

/// The target before an instruction of a recording, and what that instruction writes to memory.
struct FAKE_STATE {
    QMap<U32, U32> Regs; ///< by library index, the PC among them; registers not named keep their values
    U32 WriteAddr = 0;
    U32 WriteSize = 0; ///< 0: no write
    U32 WriteValue = 0;
};

class CFakeProbe {
public:
    CFakeProbe();
    ~CFakeProbe();
    static CFakeProbe* Current();

    NOVIK_FUNCS Funcs;

    /// Results to be given next by the function of that name (without its prefix), before its normal one.
    QHash<QString, std::deque<int>> Answers;
    /// Results that a function gives each time, behind the answers above.
    QHash<QString, int> FixedAnswers;
    /// What happens before a function answers: a change of state, a look at the caller. Mutex is held.
    QHash<QString, std::function<void()>> Hooks;
    /// Milliseconds that a function takes; they go to fSpend.
    QHash<QString, U32> CostsMs;
    std::function<void(U32 NumMs)> fSpend;
    /// What the reading functions of the streams give, by name; each read takes its bytes off the front.
    QHash<QString, QByteArray> Streams;
    /// Functions whose optional entry points are absent have no id in here.
    bool HasEntryPoints = false;
    int HaltStatus = 0;
    U32 Core = NOVIK_CORE_CORTEX_M4;
    U32 LibVersion = 62000;
    U32 SpeedKHz = 4000;
    QByteArray sExecError;
    QMap<U32, U8> Mem; ///< what is not here can't be read
    std::array<U32, NOVIK_NUM_REGS> Regs{};
    QList<FAKE_BP> BPs;
    QList<FAKE_WP> WPs;
    QList<U32> StepPCs; ///< PC after each step; without one it moves on by 2
    /// The declared target. Without regions all of Mem can be written, without states steps and runs follow StepPCs and
    /// HaltStatus.
    QList<FAKE_REGION> Regions;
    QList<FAKE_STATE> Recording;
    U32 Position = 0;       ///< state of the recording that the target is in
    qsizetype NumUnits = 0; ///< hardware breakpoints, 0: as many as are asked for
    bool IsOpen = true, IsConnected = true;
    bool IsDownloading = false;
    QMap<U32, U8> HeldBack; ///< written to flash since BeginDownload

    /// Notes a call; true and the result in *pResult if the script has an answer for it.
    bool Call(const char* sName, const QString& sArgs, int* pResult);
    QStringList TakeCalls();
    int CountCalls(const QString& sPrefix) const;
    void Poke(U32 Addr, const QByteArray& Bytes);
    /// A write by the debugger: bytes taken, which the kind of memory decides.
    U32 Write(U32 Addr, const QByteArray& Bytes);
    /// Replays one instruction; false behind the last one.
    bool ReplayStep();
    /// Replays until a breakpoint or watchpoint is met; without one the target goes on running.
    void ReplayRun();
    void ReplayFrom(U32 NewPosition);

    mutable std::mutex Mutex;

private:
    void FillTable();

    QStringList m_Calls;
};

class CFakeClock : public CDeviceClock {
public:
    U64 NowMs() override { return m_NowMs += m_StepMs; }
    void SleepMs(U32 NumMs) override { m_NowMs += NumMs; }
    void Advance(U64 NumMs) { m_NowMs += NumMs; }
    /// Each look at the clock moves it on: for waits that end by their time-out.
    void SetStep(U64 StepMs) { m_StepMs = StepMs; }

private:
    std::atomic<U64> m_NowMs{1000000};
    std::atomic<U64> m_StepMs{0};
};
