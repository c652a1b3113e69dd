#pragma once

// Data breakpoints: the device's list, which survives a disconnect, and their counterparts in the probe library.

#include "device/DeviceTypes.h"
#include "probe/novik.h"

#include <QList>
#include <array>
#include <mutex>

class CTarget;

/// True if both are the same watchpoint, in whatever state.
bool IsSameWP(const WP& A, const WP& B);

/// The list of the device; free entries may lie between used ones. Any thread.
class CWPList {
public:
    int GetInsertPos() const;
    int Insert(const WP& Wp);
    int Find(const WP& Wp) const;
    int Remove(int Idx);
    bool IsOccupied(int Idx) const;
    U32 Count() const;
    void Clear();
    WP At(int Idx) const;
    QList<WP> Copy() const;

private:
    int FindLocked(const WP& Wp) const;

    mutable std::mutex m_Mutex;
    std::array<WP, WP_LIST_SIZE> m_aEntries;
    U32 m_Count = 0;
};

/// Device thread.
class CTargetWatchpoints {
public:
    explicit CTargetWatchpoints(CTarget& Target) : m_T(Target) {}

    /// The watchpoint's ErrCode: 0, or what the library answered.
    int SetWatchpoint(WP Wp);
    U32 SetWatchpoints(U32 Cnt, const WP* paWPs);
    int ClearWatchpoint(const WP& Wp);
    U32 ClearWatchpoints(U32 Cnt, const WP* paWPs);
    int ClearAllWatchpoints();
    U32 ClearAllWatchpoints(BP_STATES State);
    void RestoreAll();

    static NOVIKARM_DATA_EVENT MakeDataEvent(const WP& Wp);

    CWPList& List() { return m_List; }
    const CWPList& List() const { return m_List; }

private:
    /// Handle of the same watchpoint in the library, -1 if it has none.
    I64 FindNovikHandle(const WP& Wp) const;

    CTarget& m_T;
    CWPList m_List;
};
