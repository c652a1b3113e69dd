#pragma once

// A scripted probe: every function of the library's table is answered from here and every call is noted. Failures and
// answers are under the test's control; there is no time in it.

#include "device/DeviceClock.h"
#include "device/NovikFuncs.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QStringList>
#include <array>
#include <atomic>
#include <deque>
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

class CFakeProbe {
public:
    CFakeProbe();
    ~CFakeProbe();
    static CFakeProbe* Current();

    NOVIK_FUNCS Funcs;

    /// Results to be given next by the function of that name (without its prefix), before its normal one.
    QHash<QString, std::deque<int>> Answers;
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

    /// Notes a call; true and the result in *pResult if the script has an answer for it.
    bool Call(const char* sName, const QString& sArgs, int* pResult);
    QStringList TakeCalls();
    int CountCalls(const QString& sPrefix) const;
    void Poke(U32 Addr, const QByteArray& Bytes);

    mutable std::mutex Mutex;

private:
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
