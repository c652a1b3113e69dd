#include "device/TargetWatchpoints.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"

#include <algorithm>

namespace {

constexpr U32 ACCESS_TYPE_WRITE = 1;
constexpr U32 ACCESS_TYPE_ANY = 2;
constexpr U32 ADDR_MASK_WORD = 3; ///< the library reports a word for a request without a mask

bool IsActive(BP_STATES State) { return State == BP_STATE_ON || State == BP_STATE_ON_HIDDEN; }

} // namespace

bool IsSameWP(const WP& A, const WP& B) {
    return A.Addr == B.Addr && A.AddrMask == B.AddrMask && A.Data == B.Data && A.DataMask == B.DataMask &&
           A.AccessType == B.AccessType && A.AccessSize == B.AccessSize;
}

int CWPList::FindLocked(const WP& Wp) const {
    const auto It = std::find_if(m_aEntries.begin(), m_aEntries.end(),
                                 [&Wp](const WP& Entry) { return Entry.Valid && IsSameWP(Entry, Wp); });
    return It == m_aEntries.end() ? -1 : int(It - m_aEntries.begin());
}

int CWPList::Find(const WP& Wp) const {
    std::lock_guard Lock(m_Mutex);
    return FindLocked(Wp);
}

int CWPList::GetInsertPos() const {
    std::lock_guard Lock(m_Mutex);
    const auto It = std::find_if(m_aEntries.begin(), m_aEntries.end(), [](const WP& Entry) { return !Entry.Valid; });
    return It == m_aEntries.end() ? -1 : int(It - m_aEntries.begin());
}

int CWPList::Insert(const WP& Wp) {
    std::lock_guard Lock(m_Mutex);
    int Idx = FindLocked(Wp);
    if (Idx < 0) {
        const auto It =
            std::find_if(m_aEntries.begin(), m_aEntries.end(), [](const WP& Entry) { return !Entry.Valid; });
        if (It == m_aEntries.end()) {
            return -1;
        }
        Idx = int(It - m_aEntries.begin());
        m_Count++;
    }
    m_aEntries[size_t(Idx)] = Wp;
    m_aEntries[size_t(Idx)].Valid = 1;
    return Idx;
}

int CWPList::Remove(int Idx) {
    std::lock_guard Lock(m_Mutex);
    if (Idx < 0 || U32(Idx) >= WP_LIST_SIZE || !m_aEntries[size_t(Idx)].Valid) {
        return -1;
    }
    m_aEntries[size_t(Idx)] = WP();
    m_Count--;
    return 0;
}

bool CWPList::IsOccupied(int Idx) const { return At(Idx).Valid != 0; }

U32 CWPList::Count() const {
    std::lock_guard Lock(m_Mutex);
    return m_Count;
}

void CWPList::Clear() {
    std::lock_guard Lock(m_Mutex);
    m_aEntries.fill(WP());
    m_Count = 0;
}

WP CWPList::At(int Idx) const {
    std::lock_guard Lock(m_Mutex);
    return Idx >= 0 && U32(Idx) < WP_LIST_SIZE ? m_aEntries[size_t(Idx)] : WP();
}

QList<WP> CWPList::Copy() const {
    std::lock_guard Lock(m_Mutex);
    QList<WP> List;
    std::copy_if(m_aEntries.begin(), m_aEntries.end(), std::back_inserter(List),
                 [](const WP& Entry) { return Entry.Valid; });
    return List;
}

NOVIKARM_DATA_EVENT CTargetWatchpoints::MakeDataEvent(const WP& Wp) {
    NOVIKARM_DATA_EVENT Event = {};
    Event.SizeOfStruct = sizeof(Event);
    Event.Type = NOVIK_EVENT_TYPE_BP;
    Event.Addr = Wp.Addr;
    Event.AddrMask = Wp.AddrMask;
    Event.Data = Wp.Data;
    Event.DataMask = Wp.DataMask;
    Event.Access = Wp.AccessType == ACCESS_TYPE_WRITE ? NOVIK_ACCESS_WRITE : 0;
    if (Wp.AccessSize == 2 || Wp.AccessSize == 4) {
        Event.Access |= U8(Wp.AccessSize);
    }
    Event.AccessMask = NOVIK_ACCESS_MASK_ALWAYS;
    Event.AccessMask |= Wp.AccessType == ACCESS_TYPE_ANY ? NOVIK_ACCESS_MASK_DIR : 0;
    Event.AccessMask |= Wp.AccessSize == 0 ? NOVIK_ACCESS_MASK_SIZE : 0;
    return Event;
}

I64 CTargetWatchpoints::FindNovikHandle(const WP& Wp) const {
    const NOVIKARM_DATA_EVENT Event = MakeDataEvent(Wp);
    NOVIKARM_WP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    const int Count = m_T.Novik.NOVIKARM_GetWPInfoEx(-1, &Info);
    for (int i = 0; i < Count; i++) {
        Info = {};
        Info.SizeOfStruct = sizeof(Info);
        if (m_T.Novik.NOVIKARM_GetWPInfoEx(i, &Info) < 0) {
            continue;
        }
        const U32 AddrMask = Info.AddrMask == ADDR_MASK_WORD ? 0 : Info.AddrMask;
        const U32 WantedMask = Event.AddrMask == ADDR_MASK_WORD ? 0 : Event.AddrMask;
        if (Info.Addr == Event.Addr && AddrMask == WantedMask && Info.Data == Event.Data &&
            Info.DataMask == Event.DataMask && Info.Access == Event.Access && Info.AccessMask == Event.AccessMask) {
            return Info.Handle;
        }
    }
    return -1;
}

int CTargetWatchpoints::SetWatchpoint(WP Wp) {
    if (Wp.State == BP_STATE_OFF) {
        return ClearWatchpoint(Wp);
    }
    if (!m_T.State.Connected) {
        m_List.Insert(Wp);
        return 0;
    }
    const I64 Handle = FindNovikHandle(Wp);
    if (Handle < 0 && IsActive(Wp.State)) {
        const NOVIKARM_DATA_EVENT Event = MakeDataEvent(Wp);
        U32 NewHandle = 0;
        const int Result = m_T.Novik.NOVIKARM_SetDataEvent(&Event, &NewHandle);
        Wp.ErrCode = std::min(Result, 0);
        if (Result < 0) {
            Wp.State = BP_STATE_DISABLED;
            m_T.Events.Log(DEV_LOG_WARN, "SetWatchpoint: NOVIK API call failed with error code %d", Result);
            m_T.Events.Log(DEV_LOG_ERROR, "could not set a data breakpoint at 0x%08X: %s", Wp.Addr,
                           GetDataEventErrorText(Result));
        }
    } else if (Handle >= 0 && Wp.State == BP_STATE_DISABLED) {
        Wp.ErrCode = m_T.Novik.NOVIKARM_ClrDataEvent(U32(Handle));
        if (Wp.ErrCode != 0) {
            m_T.LogWarn("SetWatchpoint: NOVIK API call failed");
        }
    }
    m_List.Insert(Wp);
    return Wp.ErrCode;
}

U32 CTargetWatchpoints::SetWatchpoints(U32 Cnt, const WP* paWPs) {
    U32 Count = 0;
    for (U32 i = 0; i < std::min(Cnt, WP_LIST_SIZE); i++) {
        Count += SetWatchpoint(paWPs[i]) == 0;
    }
    return Count;
}

int CTargetWatchpoints::ClearWatchpoint(const WP& Wp) {
    const I64 Handle = m_T.State.Connected ? FindNovikHandle(Wp) : -1;
    if (Handle >= 0 && m_T.Novik.NOVIKARM_ClrDataEvent(U32(Handle)) != 0) {
        m_T.LogWarn("ClearWatchpoint: NOVIK API call failed");
        return -1;
    }
    m_List.Remove(m_List.Find(Wp));
    return 0;
}

U32 CTargetWatchpoints::ClearWatchpoints(U32 Cnt, const WP* paWPs) {
    U32 Count = 0;
    for (U32 i = 0; i < Cnt; i++) {
        Count += ClearWatchpoint(paWPs[i]) == 0;
    }
    return Count;
}

int CTargetWatchpoints::ClearAllWatchpoints() {
    if (m_T.State.Connected && m_T.Novik.NOVIKARM_ClrDataEvent(NOVIK_HANDLE_ALL) != 0) {
        m_T.LogWarn("ClearAllWatchpoints: NOVIK API call failed");
        return -1;
    }
    m_List.Clear();
    return 0;
}

U32 CTargetWatchpoints::ClearAllWatchpoints(BP_STATES State) {
    U32 Count = 0;
    for (const WP& Wp : m_List.Copy()) {
        Count += Wp.State == State && ClearWatchpoint(Wp) == 0;
    }
    return Count;
}

void CTargetWatchpoints::RestoreAll() {
    for (const WP& Wp : m_List.Copy()) {
        SetWatchpoint(Wp);
    }
}
