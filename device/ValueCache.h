#pragma once

// 32-bit values with a status, by an index: registers, coprocessor registers. Main thread only.

#include "device/DeviceTypes.h"
#include "device/MemoryCache.h"

#include <QHash>

class CValueCache {
public:
    void Clear() { m_Values.clear(); }
    DATA_STATUS GetStatus(U32 Idx) const { return m_Values.value(Idx).Status; }
    /// 0 if it isn't valid.
    U32 Get(U32 Idx) const { return m_Values.value(Idx).Value; }
    /// A negative value is one that couldn't be read.
    void Store(U32 Idx, I64 Value) {
        m_Values.insert(Idx, Value < 0 ? ENTRY{0, DATA_ERROR} : ENTRY{U32(Value), DATA_VALID});
    }
    void SetPending(U32 Idx) { m_Values.insert(Idx, ENTRY{0, DATA_PENDING}); }
    void SetUnknown(U32 Idx) { m_Values.remove(Idx); }

private:
    struct ENTRY {
        U32 Value = 0;
        DATA_STATUS Status = DATA_UNKNOWN;
    };
    QHash<U32, ENTRY> m_Values;
};

constexpr U32 REG_CACHE_LIMIT = 256; ///< register indices of the probe library are below this
constexpr U32 CPR_SELECTOR_LIMIT = 16;

/// Index of a coprocessor register in its cache; -1 if a selector is out of range.
inline I64 GetCprIdx(const ARM_CPR& Cpr) {
    I64 Idx = Cpr.CpNum;
    for (U32 Sel : Cpr.Sel) {
        if (Sel >= CPR_SELECTOR_LIMIT) {
            return -1;
        }
        Idx = Idx * CPR_SELECTOR_LIMIT + Sel;
    }
    return Cpr.CpNum < CPR_SELECTOR_LIMIT ? Idx : -1;
}
