#pragma once

// Who waits for which data of the target. A request watches one place that it still lacks; when an answer covers that
// place the request looks for the next, so that an answer costs no more than the requests that it concerns, however
// many are open. Main thread only.

#include "device/DeviceTypes.h"
#include "elf/ElfSymLoc.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <map>
#include <optional>
#include <unordered_map>

class CDeviceEventListener;

enum REQUEST_KINDS : U32 { REQUEST_MEM, REQUEST_REGS, REQUEST_CPR, REQUEST_LOC };

/// How the missing bytes are to be read; see ReadMemAsync().
struct READ_MODE {
    U32 ChunkSize = 0;
    U32 AccessWidth = 0;
    U32 Flags = 0;
};

struct READ_REQUEST {
    REQUEST_KINDS Kind = REQUEST_MEM;
    CDeviceEventListener* pListener = nullptr;
    U32 Addr = 0;     ///< memory, also of a location
    U32 NumBytes = 0; ///< memory, also of a location
    READ_MODE Mode;
    QList<U32> Regs; ///< indices of the probe library, also of a location in a register
    ARM_CPR Cpr;
    ELF_SYM_LOC Loc;

    bool IsMem() const { return Kind == REQUEST_MEM || (Kind == REQUEST_LOC && Regs.isEmpty()); }
    U64 End() const { return U64(Addr) + NumBytes; } ///< of the memory, exclusive
    /// What makes two requests of one listener the same.
    QByteArray Key() const;
};

/// A place that data comes for: an address, a register index, a coprocessor register.
enum DATA_PLACES : U32 { PLACE_MEM, PLACE_REG, PLACE_CPR };

class CReadRequests {
public:
    /// Number of the request, of the one there is already if it is the same.
    U64 Add(const READ_REQUEST& Request);
    const READ_REQUEST* Find(U64 Id) const;
    /// From now on an answer for the place concerns the request.
    void Watch(U64 Id, DATA_PLACES Place, U64 Idx);
    /// The requests that watch a place from First to End (exclusive), in order of asking; they watch nothing now.
    QList<U64> TakeWatching(DATA_PLACES Place, U64 First, U64 End);
    std::optional<READ_REQUEST> Take(U64 Id);

    QList<U64> GetAll() const; ///< in order of asking
    void DropSame(const READ_REQUEST& Request);
    void DropListener(const CDeviceEventListener* pListener);
    void Clear();
    qsizetype Count() const { return qsizetype(m_Entries.size()); }

private:
    struct ENTRY {
        READ_REQUEST Request;
        QByteArray Key;
        std::optional<std::multimap<U64, U64>::iterator> Watch;
    };
    void Remove(std::unordered_map<U64, ENTRY>::iterator It);
    void Unwatch(ENTRY& Entry);

    std::unordered_map<U64, ENTRY> m_Entries;
    std::multimap<U64, U64> m_Watches; ///< place to request
    QHash<QByteArray, U64> m_ByKey;
    QHash<const CDeviceEventListener*, QSet<U64>> m_ByListener;
    U64 m_NextId = 1;
};
