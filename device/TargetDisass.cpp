#include "device/TargetDisass.h"

#include "device/DeviceEvents.h"
#include "device/Target.h"
#include "elf/ElfApi.h"
#include "icache/InstStore.h"

#include <cstdio>

namespace {

constexpr U32 TEXT_SIZE = 256;
constexpr U32 MAX_RANGE = 1000000; ///< bytes in one job

} // namespace

int CTargetDisass::DisassData(U32 Addr) {
    U32 Lo = 0;
    U32 Hi = 0;
    if (ElfApi_GetMemRegionKind(Addr, &Lo, &Hi) != ICACHE_REGION_DATA || Hi <= Addr) {
        return 0;
    }
    const U32 Size = Hi - Addr < 4 ? 2 : 4;
    U32 Value = 0;
    if (m_T.Memory.ReadInt(Addr, Size, &Value) != 0) {
        return 0;
    }
    char acText[33];
    std::snprintf(acText, sizeof(acText), Size == 2 ? "DC16 0x%.04X" : "DC32 0x%.08X", Value);
    ICACHE_SetInstText(Addr, acText);
    return int(Size);
}

int CTargetDisass::DisassInst(U32 Addr) {
    if (!m_T.State.Connected) {
        m_T.LogDebug("DisassInst: not connected");
        return 0;
    }
    if (!m_T.Memory.IsMemoryAccessible()) {
        m_T.LogWarn("DisassInst: cannot read memory while target is running");
        return 0;
    }
    U32 Size = ICACHE_GetInstSize(Addr);
    if (!ICACHE_GetInstText(Addr).isEmpty()) {
        return int(Size);
    }
    if (const int DataSize = DisassData(Addr)) {
        return DataSize;
    }
    if (!m_T.Info.pfDisassemble) {
        m_T.LogWarn("DisassInst: Novik disassembly function pointer missing");
        return -1;
    }
    const U32 Mode = ICACHE_GetMode(Addr);
    const I64 Inst = m_T.Memory.ReadInst(Addr, Size, Mode == ICACHE_MODE_ARM);
    const U32 Bits = U32(Inst);
    char acText[TEXT_SIZE] = {};
    const int Length = Inst < 0 ? -1 : m_T.Info.pfDisassemble(acText, TEXT_SIZE, &Bits, Size, Addr, U8(Mode));
    if (Length == 2 || Length == 4) {
        if (U32(Length) != Size) {
            m_T.Events.Log(DEV_LOG_WARN, "DisassInst: Instruction length mismatch @ %x", Addr);
            Size = ICACHE_CorrectInstSize(Addr, U32(Length));
        }
        ICACHE_SetInstText(Addr, acText);
    } else {
        m_T.Events.Log(DEV_LOG_WARN, "DisassInst: disassembly failed for instruction: %x", Bits);
        ICACHE_SetInstText(Addr, Inst < 0 ? "" : "?");
    }
    return int(Size);
}

int CTargetDisass::DisassInsts(U32 Cnt, const U32* paAddrs) {
    int Count = 0;
    for (U32 i = 0; i < Cnt && !m_T.IsCancelled(); i++) {
        Count += DisassInst(paAddrs[i]) > 0;
    }
    return Count;
}

int CTargetDisass::DisassArange(U32 StartAddr, U32 EndAddr, U32 Cnt, U32* paInsts) {
    if (EndAddr < StartAddr || EndAddr - StartAddr > MAX_RANGE) {
        return -1;
    }
    U32 NumInsts = 0;
    for (U64 Addr = StartAddr; Addr < EndAddr && !m_T.IsCancelled();) {
        if (paInsts && NumInsts < Cnt) {
            paInsts[NumInsts] = U32(Addr);
        }
        NumInsts++;
        const int Size = DisassInst(U32(Addr));
        Addr += Size > 0 ? U64(Size) : 2;
    }
    return int(NumInsts);
}

int CTargetDisass::DisassAranges(U32 Cnt, const U32* paAddrRanges) {
    if (!paAddrRanges) {
        return -1;
    }
    int Count = 0;
    for (U32 i = 0; i < Cnt && !m_T.IsCancelled(); i++) {
        const int Result = DisassArange(paAddrRanges[2 * i], paAddrRanges[2 * i + 1], 0, nullptr);
        Count += Result > 0 ? Result : 0;
    }
    return Count;
}
