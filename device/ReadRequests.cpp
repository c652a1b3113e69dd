#include "device/ReadRequests.h"

#include <algorithm>

namespace {

template <class T> void Append(QByteArray& Key, const T& Value) {
    Key.append(reinterpret_cast<const char*>(&Value), sizeof(Value));
}

U64 WatchKey(DATA_PLACES Place, U64 Idx) { return (U64(Place) << 60) | Idx; }

} // namespace

// Fields are added one by one: what lies between them in a record is undefined.
QByteArray READ_REQUEST::Key() const {
    QByteArray Key;
    Append(Key, reinterpret_cast<uintptr_t>(pListener));
    Append(Key, Kind);
    if (Kind != REQUEST_REGS && Kind != REQUEST_CPR) {
        Append(Key, Addr);
        Append(Key, NumBytes);
    }
    for (U32 Reg : Regs) {
        Append(Key, Reg);
    }
    if (Kind == REQUEST_CPR) {
        Append(Key, Cpr);
    }
    if (Kind == REQUEST_LOC) {
        for (U32 Part : {Loc.Kind, Loc.Addr, Loc.Reg, U32(Loc.Off)}) {
            Append(Key, Part);
        }
    }
    return Key;
}

U64 CReadRequests::Add(const READ_REQUEST& Request) {
    const QByteArray Key = Request.Key();
    if (const auto It = m_ByKey.constFind(Key); It != m_ByKey.constEnd()) {
        return *It;
    }
    const U64 Id = m_NextId++;
    m_Entries.emplace(Id, ENTRY{Request, Key, std::nullopt});
    m_ByKey.insert(Key, Id);
    m_ByListener[Request.pListener].insert(Id);
    return Id;
}

const READ_REQUEST* CReadRequests::Find(U64 Id) const {
    const auto It = m_Entries.find(Id);
    return It == m_Entries.end() ? nullptr : &It->second.Request;
}

void CReadRequests::Unwatch(ENTRY& Entry) {
    if (Entry.Watch) {
        m_Watches.erase(*Entry.Watch);
        Entry.Watch.reset();
    }
}

void CReadRequests::Watch(U64 Id, DATA_PLACES Place, U64 Idx) {
    if (const auto It = m_Entries.find(Id); It != m_Entries.end()) {
        Unwatch(It->second);
        It->second.Watch = m_Watches.emplace(WatchKey(Place, Idx), Id);
    }
}

QList<U64> CReadRequests::TakeWatching(DATA_PLACES Place, U64 First, U64 End) {
    QList<U64> Ids;
    auto It = m_Watches.lower_bound(WatchKey(Place, First));
    while (It != m_Watches.end() && It->first < WatchKey(Place, End)) {
        Ids += It->second;
        m_Entries.find(It->second)->second.Watch.reset();
        It = m_Watches.erase(It);
    }
    std::sort(Ids.begin(), Ids.end());
    return Ids;
}

void CReadRequests::Remove(std::unordered_map<U64, ENTRY>::iterator It) {
    Unwatch(It->second);
    m_ByKey.remove(It->second.Key);
    const auto Listener = m_ByListener.find(It->second.Request.pListener);
    Listener->remove(It->first);
    if (Listener->isEmpty()) {
        m_ByListener.erase(Listener);
    }
    m_Entries.erase(It);
}

std::optional<READ_REQUEST> CReadRequests::Take(U64 Id) {
    const auto It = m_Entries.find(Id);
    if (It == m_Entries.end()) {
        return std::nullopt;
    }
    std::optional<READ_REQUEST> Request = std::move(It->second.Request);
    It->second.Request.pListener = Request->pListener;
    Remove(It);
    return Request;
}

QList<U64> CReadRequests::GetAll() const {
    QList<U64> Ids;
    Ids.reserve(Count());
    for (const auto& [Id, Entry] : m_Entries) {
        Ids += Id;
    }
    std::sort(Ids.begin(), Ids.end());
    return Ids;
}

void CReadRequests::DropSame(const READ_REQUEST& Request) {
    if (m_Entries.empty()) {
        return;
    }
    if (const auto It = m_ByKey.constFind(Request.Key()); It != m_ByKey.constEnd()) {
        Remove(m_Entries.find(*It));
    }
}

void CReadRequests::DropListener(const CDeviceEventListener* pListener) {
    for (U64 Id : m_ByListener.value(pListener)) {
        Remove(m_Entries.find(Id));
    }
}

void CReadRequests::Clear() {
    m_Entries.clear();
    m_Watches.clear();
    m_ByKey.clear();
    m_ByListener.clear();
}
