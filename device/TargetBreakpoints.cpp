#include "device/TargetBreakpoints.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"
#include "elf/ElfApi.h"
#include "icache/InstStore.h"

#include <algorithm>

int CBPList::FindLocked(U32 Addr) const {
    for (U32 i = 0; i < BP_LIST_SIZE && m_aEntries[i].Valid; i++) {
        if (m_aEntries[i].Addr == Addr) {
            return int(i);
        }
    }
    return -1;
}

int CBPList::Find(U32 Addr) const {
    std::lock_guard Lock(m_Mutex);
    return FindLocked(Addr);
}

int CBPList::GetInsertPos() const {
    std::lock_guard Lock(m_Mutex);
    return m_Count < BP_LIST_SIZE ? int(m_Count) : -1;
}

int CBPList::Insert(U32 Addr, BP_STATES State, BP_TYPES Type) {
    std::lock_guard Lock(m_Mutex);
    int Idx = FindLocked(Addr);
    if (Idx < 0) {
        if (m_Count >= BP_LIST_SIZE) {
            return -1;
        }
        Idx = int(m_Count++);
        m_aEntries[size_t(Idx)] = BPEntry();
    }
    BPEntry& Entry = m_aEntries[size_t(Idx)];
    Entry.Addr = Addr;
    Entry.Valid = 1;
    Entry.State = State;
    Entry.Type = Type;
    return Idx;
}

int CBPList::Remove(int Idx) {
    std::lock_guard Lock(m_Mutex);
    if (Idx < 0 || U32(Idx) >= m_Count) {
        return -1;
    }
    std::move(m_aEntries.begin() + Idx + 1, m_aEntries.begin() + m_Count, m_aEntries.begin() + Idx);
    m_aEntries[--m_Count] = BPEntry();
    return 0;
}

bool CBPList::IsOccupied(int Idx) const {
    std::lock_guard Lock(m_Mutex);
    return Idx >= 0 && U32(Idx) < m_Count;
}

U32 CBPList::Count() const {
    std::lock_guard Lock(m_Mutex);
    return m_Count;
}

void CBPList::Clear() {
    std::lock_guard Lock(m_Mutex);
    m_aEntries.fill(BPEntry());
    m_Count = 0;
}

BPEntry CBPList::At(int Idx) const {
    std::lock_guard Lock(m_Mutex);
    return Idx >= 0 && U32(Idx) < m_Count ? m_aEntries[size_t(Idx)] : BPEntry();
}

QList<BPEntry> CBPList::Copy() const {
    std::lock_guard Lock(m_Mutex);
    return QList<BPEntry>(m_aEntries.begin(), m_aEntries.begin() + m_Count);
}

void CBPList::ResetHitCounts() {
    std::lock_guard Lock(m_Mutex);
    for (BPEntry& Entry : m_aEntries) {
        Entry.HitCount = 0;
    }
}

BPEntry CBPList::CountHit(U32 Addr) {
    std::lock_guard Lock(m_Mutex);
    const int Idx = FindLocked(Addr);
    if (Idx < 0) {
        return BPEntry();
    }
    m_aEntries[size_t(Idx)].HitCount++;
    return m_aEntries[size_t(Idx)];
}

void CBPList::SetHasCondition(U32 Addr, bool HasCondition) {
    std::lock_guard Lock(m_Mutex);
    if (const int Idx = FindLocked(Addr); Idx >= 0) {
        m_aEntries[size_t(Idx)].HasCondition = HasCondition;
    }
}

void CBPList::RestoreCounters(const BPEntry& Entry) {
    std::lock_guard Lock(m_Mutex);
    if (const int Idx = FindLocked(Entry.Addr); Idx >= 0) {
        m_aEntries[size_t(Idx)].HitCount = Entry.HitCount;
        m_aEntries[size_t(Idx)].HasCondition = Entry.HasCondition;
    }
}

U32 CTargetBreakpoints::GetNovikBPImplFlags(U32 Addr, BP_TYPES ImplType) {
    const U32 Impl = ImplType == BP_TYPE_HARD   ? NOVIK_BP_TYPE_HARD
                     : ImplType == BP_TYPE_SOFT ? NOVIK_BP_TYPE_SOFT
                                                : NOVIK_BP_TYPE_ANY;
    switch (ElfApi_GetMemRegionKind(Addr)) {
    case ICACHE_REGION_ARM:
        return Impl | NOVIK_BP_MODE_ARM;
    case ICACHE_REGION_THUMB:
        return Impl | NOVIK_BP_MODE_THUMB;
    default:
        return Impl;
    }
}

// Calls Fn with each breakpoint of the library until it returns true.
template <class FN> void CTargetBreakpoints::FindNovikBP(FN&& Fn) const {
    if (!m_T.State.Connected) {
        return;
    }
    NOVIKARM_BP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    const int Count = m_T.Novik.NOVIKARM_GetBPInfoEx(-1, &Info);
    for (int i = 0; i < Count; i++) {
        Info = {};
        Info.SizeOfStruct = sizeof(Info);
        if (m_T.Novik.NOVIKARM_GetBPInfoEx(i, &Info) >= 0 && Info.Handle && Fn(Info)) {
            return;
        }
    }
}

U32 CTargetBreakpoints::GetNovikBPHandle(U32 Addr) const {
    if (m_Handles) {
        return m_Handles->value(Addr);
    }
    U32 Handle = 0;
    FindNovikBP([&](const NOVIKARM_BP_INFO& Info) {
        Handle = Info.Addr == Addr ? Info.Handle : 0;
        return Handle != 0;
    });
    return Handle;
}

U32 CTargetBreakpoints::CountComparators() const {
    U32 Count = 0;
    FindNovikBP([&](const NOVIKARM_BP_INFO& Info) {
        Count += Info.ImplFlags == NOVIK_BP_IMPL_HARD;
        return false;
    });
    return Count;
}

U32 CTargetBreakpoints::GetNovikBPInfo(U32 Addr) const {
    if (!m_T.State.Connected) {
        m_T.LogDebug("GetNovikBPInfo: not connected");
        return 0;
    }
    NOVIKARM_BP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    Info.Handle = GetNovikBPHandle(Addr);
    return Info.Handle && m_T.Novik.NOVIKARM_GetBPInfoEx(-1, &Info) >= 0 ? Info.ImplFlags : 0;
}

BPEntry CTargetBreakpoints::GetEntry(U32 Addr) const {
    BPEntry Entry = m_List.At(m_List.Find(Addr));
    if (!Entry.Valid && m_T.State.HiddenBPAddr == I64(Addr)) {
        Entry.Addr = Addr;
        Entry.Valid = 1;
        Entry.State = BP_STATE_ON_HIDDEN;
    }
    return Entry;
}

void CTargetBreakpoints::ListEntry(U32 Addr, BP_STATES State, BP_TYPES Type) {
    if (m_List.Insert(Addr, State, Type) < 0) {
        m_T.Events.Log(DEV_LOG_ERROR, "the breakpoint at 0x%08X is not listed: the list has its %u entries already",
                       Addr, BP_LIST_SIZE);
    }
}

int CTargetBreakpoints::SetBreakpoint(U32 Addr, BP_STATES State, BP_TYPES Type) {
    if (State == BP_STATE_OFF) {
        return ClearBreakpoint(Addr);
    }
    const bool IsActive = State == BP_STATE_ON || State == BP_STATE_ON_HIDDEN;
    if (m_T.State.Connected) {
        const BPEntry Old = GetEntry(Addr);
        const bool HasHandle = GetNovikBPHandle(Addr) != 0;
        const bool IsKept = HasHandle && State != BP_STATE_DISABLED && Old.Type == Type;
        if (HasHandle && !IsKept && ClearBreakpoint(Addr) != 0) {
            m_T.Report.PrintBreakpoint(Addr, Type);
            return -1;
        }
        if (IsActive && !IsKept && m_T.Novik.NOVIKARM_SetBPEx(Addr, GetNovikBPImplFlags(Addr, Type)) == 0) {
            m_T.Report.PrintBreakpoint(Addr, Type);
            if (!HasHandle) {
                return -1;
            }
            // The old breakpoint is gone already; the user keeps an entry to try again with.
            ListEntry(Addr, BP_STATE_DISABLED, Type);
            m_List.RestoreCounters(Old);
            return 0;
        }
        if (State != BP_STATE_ON_HIDDEN) {
            ListEntry(Addr, State, Type);
            m_List.RestoreCounters(Old);
        }
    } else if (State != BP_STATE_ON_HIDDEN) {
        ListEntry(Addr, State, Type);
    }
    if (State == BP_STATE_ON_HIDDEN) {
        m_T.State.HiddenBPAddr = Addr;
    }
    return 0;
}

U32 CTargetBreakpoints::SetBreakpoints(U32 Cnt, const U32* paAddrs, BP_STATES State, BP_TYPES Type) {
    U32 Count = 0;
    for (U32 i = 0; i < Cnt; i++) {
        Count += SetBreakpoint(paAddrs[i], State, Type) == 0;
    }
    return Count;
}

int CTargetBreakpoints::ClearBreakpoint(U32 Addr) {
    const U32 Handle = GetNovikBPHandle(Addr);
    if (Handle && m_T.Novik.NOVIKARM_ClrBPEx(Handle) != 0) {
        m_T.LogWarn("ClearBreakpoint: NOVIK API call failed");
        return -1;
    }
    m_List.Remove(m_List.Find(Addr));
    if (m_T.State.HiddenBPAddr == I64(Addr)) {
        m_T.State.HiddenBPAddr = -1;
    }
    return 0;
}

U32 CTargetBreakpoints::ClearBreakpoints(U32 Cnt, const U32* paAddrs) {
    U32 Count = 0;
    for (U32 i = 0; i < Cnt; i++) {
        Count += ClearBreakpoint(paAddrs[i]) == 0;
    }
    return Count;
}

int CTargetBreakpoints::ClearAllBreakpoints() {
    if (m_T.State.Connected && m_T.Novik.NOVIKARM_ClrBPEx(NOVIK_HANDLE_ALL) != 0) {
        m_T.LogWarn("ClearAllBreakpoints: NOVIK API call failed");
        return -1;
    }
    m_List.Clear();
    m_T.State.SavedBP = BPEntry();
    m_T.State.HiddenBPAddr = -1;
    return 0;
}

U32 CTargetBreakpoints::ClearAllBreakpoints(BP_STATES State) {
    const I64 Hidden = m_T.State.HiddenBPAddr;
    if (State == BP_STATE_ON_HIDDEN && Hidden >= 0) {
        const BPEntry Listed = m_List.At(m_List.Find(U32(Hidden)));
        ClearBreakpoint(U32(Hidden));
        if (Listed.Valid && Listed.State != BP_STATE_ON_HIDDEN) {
            RestoreEntry(Listed);
        }
        m_T.State.HiddenBPAddr = -1;
        return 1;
    }
    U32 Count = 0;
    for (const BPEntry& Entry : m_List.Copy()) {
        Count += Entry.State == State && ClearBreakpoint(Entry.Addr) == 0;
    }
    return Count;
}

int CTargetBreakpoints::ResetBreakpoints() {
    m_List.ResetHitCounts();
    return 0;
}

void CTargetBreakpoints::RestoreEntry(const BPEntry& Entry) {
    SetBreakpoint(Entry.Addr, Entry.State, Entry.Type);
    m_List.RestoreCounters(Entry);
}

// The library is asked once for what it has: with a look for each entry the calls would grow with their square.
void CTargetBreakpoints::RestoreAll() {
    QHash<U32, U32> Handles;
    FindNovikBP([&Handles](const NOVIKARM_BP_INFO& Info) {
        Handles.insert(Info.Addr, Handles.value(Info.Addr, Info.Handle));
        return false;
    });
    m_Handles = std::move(Handles);
    for (const BPEntry& Entry : m_List.Copy()) {
        SetBreakpoint(Entry.Addr, Entry.State, Entry.Type);
    }
    m_Handles.reset();
}
