#pragma once

// Code breakpoints. The device's list is the truth and survives a disconnect; the probe library only ever holds what
// is active now. The hidden breakpoint, one address at a time, stands outside the list.

#include "device/DeviceTypes.h"

#include <QHash>
#include <QList>
#include <array>
#include <mutex>
#include <optional>

class CTarget;

/// The list of the device, packed: used entries stand at the front. Any thread.
class CBPList {
public:
    int GetInsertPos() const;
    /// Updates the entry of Addr, or takes a free one. Its index, -1 if the list is full.
    int Insert(U32 Addr, BP_STATES State, BP_TYPES Type);
    int Remove(int Idx);
    bool IsOccupied(int Idx) const;
    int Find(U32 Addr) const;
    U32 Count() const;
    void Clear();
    BPEntry At(int Idx) const;
    QList<BPEntry> Copy() const;
    void ResetHitCounts();
    /// One more stop here; the entry after that.
    BPEntry CountHit(U32 Addr);
    void SetHasCondition(U32 Addr, bool HasCondition);
    /// Gives a listed entry the hit count and condition flag of a copy taken earlier.
    void RestoreCounters(const BPEntry& Entry);

private:
    int FindLocked(U32 Addr) const;

    mutable std::mutex m_Mutex;
    std::array<BPEntry, BP_LIST_SIZE> m_aEntries;
    U32 m_Count = 0;
};

/// Device thread.
class CTargetBreakpoints {
public:
    explicit CTargetBreakpoints(CTarget& Target) : m_T(Target) {}

    int SetBreakpoint(U32 Addr, BP_STATES State, BP_TYPES Type);
    U32 SetBreakpoints(U32 Cnt, const U32* paAddrs, BP_STATES State, BP_TYPES Type);
    int ClearBreakpoint(U32 Addr);
    U32 ClearBreakpoints(U32 Cnt, const U32* paAddrs);
    int ClearAllBreakpoints();
    U32 ClearAllBreakpoints(BP_STATES State);
    int ResetBreakpoints();

    /// Sets a breakpoint again as it was before something else took its address.
    void RestoreEntry(const BPEntry& Entry);
    /// Sets all listed breakpoints in the library after a connect.
    void RestoreAll();

    /// Flags for the library: allowed implementation and instruction set of the address.
    static U32 GetNovikBPImplFlags(U32 Addr, BP_TYPES ImplType);
    /// Handle of the breakpoint that the library has at Addr, 0 if none.
    U32 GetNovikBPHandle(U32 Addr) const;
    /// Comparators of the device that the library's breakpoints use.
    U32 CountComparators() const;
    /// How the library implements the breakpoint at Addr, 0 if it has none.
    U32 GetNovikBPInfo(U32 Addr) const;
    /// Entry of an address: the list's, else one for the hidden breakpoint, else all zero. Any thread.
    BPEntry GetEntry(U32 Addr) const;

    CBPList& List() { return m_List; }
    const CBPList& List() const { return m_List; }

private:
    void ListEntry(U32 Addr, BP_STATES State, BP_TYPES Type);
    template <class FN> void FindNovikBP(FN&& Fn) const;

    CTarget& m_T;
    CBPList m_List;
    std::optional<QHash<U32, U32>> m_Handles; ///< by address, while all entries are put back
};
