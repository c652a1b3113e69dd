#pragma once

// Fills the instruction store's texts. Device thread.

#include "base/Types.h"

class CTarget;

class CTargetDisass {
public:
    explicit CTargetDisass(CTarget& Target) : m_T(Target) {}

    /// Bytes of the item at Addr, 0 if there is none now, -1 on failure.
    int DisassInst(U32 Addr);
    /// Number of addresses with a text.
    int DisassInsts(U32 Cnt, const U32* paAddrs);
    /// Notes the addresses of up to Cnt items; a range above 1,000,000 bytes is -1.
    int DisassArange(U32 StartAddr, U32 EndAddr, U32 Cnt, U32* paInsts);
    /// Cnt pairs of start and end.
    int DisassAranges(U32 Cnt, const U32* paAddrRanges);

private:
    int DisassData(U32 Addr);

    CTarget& m_T;
};
