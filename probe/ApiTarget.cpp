// Exported functions: run control, memory, registers, breakpoints.
#include "probe/Session.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

using namespace Novik;

namespace {

CBackend* Target() { return CProbeSession::Get().Target(); }

// System space of a Cortex-M is little-endian in every device.
bool IsSystemSpace(uint32_t Addr) { return CProbeSession::Get().HasSystemSpace && Addr - 0xE0000000 < 0x100000; }

// A value as it lies in the target's memory, and back.
template <typename T> T TargetOrder(uint32_t Addr, T Value) {
    if constexpr (sizeof(T) > 1) {
        if (CProbeSession::Get().IsBigEndian && !IsSystemSpace(Addr)) {
            uint8_t Bytes[sizeof(T)];
            std::memcpy(Bytes, &Value, sizeof(T));
            std::reverse(std::begin(Bytes), std::end(Bytes));
            std::memcpy(&Value, Bytes, sizeof(T));
        }
    }
    return Value;
}

// R0 to R12 have no reset value of their own: they keep what they held unless they are to be set.
constexpr uint32_t NUM_PLAIN_REGS = 13;

// Items one by one, so that each has a status of its own; the whole block at once while nothing fails.
template <typename T> int32_t ReadItems(uint32_t Addr, uint32_t NumItems, T* pData, uint8_t* pStatus) {
    CBackend* pTarget = Target();
    if (!pTarget || !pData || NumItems > 0x7FFFFFFF / sizeof(T)) {
        return -1;
    }
    int32_t Count = 0;
    for (uint32_t Index = 0; Index < NumItems; Index++) {
        const uint32_t ItemAddr = Addr + Index * static_cast<uint32_t>(sizeof(T));
        const int Read = pTarget->ReadMem(ItemAddr, pData + Index, sizeof(T), sizeof(T));
        if (Read < 0) {
            return -1;
        }
        const bool Ok = Read == static_cast<int>(sizeof(T));
        pData[Index] = Ok ? TargetOrder(ItemAddr, pData[Index]) : pData[Index];
        Count += Ok;
        if (pStatus) {
            pStatus[Index] = !Ok;
        }
    }
    return Count;
}

template <typename T> int32_t WriteItem(uint32_t Addr, T Data) {
    CBackend* pTarget = Target();
    Data = TargetOrder(Addr, Data);
    return pTarget && pTarget->WriteMem(Addr, &Data, sizeof(T), sizeof(T)) == static_cast<int>(sizeof(T)) ? 0 : -1;
}

bool IsWidthGood(int32_t Width) { return Width == 0 || Width == 1 || Width == 2 || Width == 4; }

} // namespace

// --- Run control ------------------------------------------------------------------------------------------------

int8_t NOVIKARM_IsHalted(void) {
    CBackend* pTarget = Target();
    return pTarget ? static_cast<int8_t>(pTarget->IsHalted()) : -1;
}

int NOVIKARM_Halt(void) {
    CBackend* pTarget = Target();
    return pTarget && pTarget->Halt() ? 0 : -1;
}

void NOVIKARM_GoEx(uint32_t, uint32_t) {
    if (CBackend* pTarget = Target()) {
        pTarget->Go();
    }
}

int NOVIKARM_Step(void) {
    CBackend* pTarget = Target();
    return pTarget && pTarget->Step() ? 0 : -1;
}

void NOVIKARM_SetResetType(int32_t Type) {
    if (Type != 0) {
        CProbeSession::Get().Warn("Reset type " + std::to_string(Type) + " is not known, the normal reset is used");
    }
}

void NOVIKARM_SetResetDelay(int32_t Delay) { CProbeSession::Get().ResetDelay = std::clamp(Delay, 0, 10000); }

void NOVIKARM_SetInitRegsOnReset(int32_t Init) { CProbeSession::Get().InitRegsOnReset = Init != 0; }

int NOVIKARM_Reset(void) {
    CBackend* pTarget = Target();
    if (!pTarget) {
        return -1;
    }
    std::array<std::optional<uint32_t>, NUM_PLAIN_REGS> Kept;
    for (uint32_t Index = 0; Index < NUM_PLAIN_REGS && !CProbeSession::Get().InitRegsOnReset; Index++) {
        uint32_t Value;
        Kept[Index] = pTarget->ReadReg(Index, Value) ? std::optional(Value) : std::nullopt;
    }
    if (!pTarget->Reset()) {
        return -1;
    }
    for (uint32_t Index = 0; Index < NUM_PLAIN_REGS; Index++) {
        if (Kept[Index]) {
            pTarget->WriteReg(Index, *Kept[Index]);
        }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(CProbeSession::Get().ResetDelay));
    return 0;
}

// --- Memory -----------------------------------------------------------------------------------------------------

int32_t NOVIKARM_ReadMemU8(uint32_t Addr, uint32_t NumItems, uint8_t* pData, uint8_t* pStatus) {
    return ReadItems(Addr, NumItems, pData, pStatus);
}

int32_t NOVIKARM_ReadMemU16(uint32_t Addr, uint32_t NumItems, uint16_t* pData, uint8_t* pStatus) {
    return ReadItems(Addr, NumItems, pData, pStatus);
}

int32_t NOVIKARM_ReadMemU32(uint32_t Addr, uint32_t NumItems, uint32_t* pData, uint8_t* pStatus) {
    return ReadItems(Addr, NumItems, pData, pStatus);
}

int32_t NOVIKARM_ReadMemU64(uint32_t Addr, uint32_t NumItems, uint64_t* pData, uint8_t* pStatus) {
    return ReadItems(Addr, NumItems, pData, pStatus);
}

int32_t NOVIKARM_ReadMemHW(uint32_t Addr, uint32_t NumBytes, void* pData) {
    return NOVIKARM_ReadMem(Addr, NumBytes, pData);
}

int32_t NOVIKARM_ReadMemEx(uint32_t Addr, uint32_t NumBytes, void* pData, int32_t AccessWidth) {
    CBackend* pTarget = Target();
    if (!pTarget || !pData || NumBytes > 0x7FFFFFFF || !IsWidthGood(AccessWidth)) {
        return -1;
    }
    return pTarget->ReadMem(Addr, pData, NumBytes, static_cast<uint32_t>(AccessWidth));
}

int32_t NOVIKARM_ReadMem(uint32_t Addr, uint32_t NumBytes, void* pData) {
    return NOVIKARM_ReadMemEx(Addr, NumBytes, pData, 0) == static_cast<int32_t>(NumBytes) ? 0 : -1;
}

int32_t NOVIKARM_WriteU8(uint32_t Addr, uint8_t Data) { return WriteItem(Addr, Data); }

int32_t NOVIKARM_WriteU16(uint32_t Addr, uint16_t Data) { return WriteItem(Addr, Data); }

int32_t NOVIKARM_WriteU32(uint32_t Addr, uint32_t Data) { return WriteItem(Addr, Data); }

int32_t NOVIKARM_WriteU64(uint32_t Addr, uint64_t Data) { return WriteItem(Addr, Data); }

int32_t NOVIKARM_WriteMemEx(uint32_t Addr, uint32_t NumBytes, const void* pData, int32_t AccessWidth) {
    CBackend* pTarget = Target();
    if (!pTarget || !pData || NumBytes > 0x7FFFFFFF || !IsWidthGood(AccessWidth)) {
        return -1;
    }
    return pTarget->WriteMem(Addr, pData, NumBytes, static_cast<uint32_t>(AccessWidth));
}

int32_t NOVIKARM_WriteMem(uint32_t Addr, uint32_t NumBytes, const void* pData) {
    return NOVIKARM_WriteMemEx(Addr, NumBytes, pData, 0);
}

void NOVIKARM_BeginDownload(uint32_t) {
    if (CBackend* pTarget = Target()) {
        pTarget->BeginDownload();
    }
}

int32_t NOVIKARM_EndDownload(void) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->EndDownload(0) : NOVIK_DL_ERR_UNSPECIFIED;
}

// --- Registers --------------------------------------------------------------------------------------------------

uint32_t NOVIKARM_ReadReg(uint32_t Index) {
    CBackend* pTarget = Target();
    uint32_t Value = 0;
    return pTarget && pTarget->ReadReg(Index, Value) ? Value : 0;
}

int32_t NOVIKARM_ReadRegs(const uint32_t* pIndices, uint32_t* pValues, uint8_t* pStatus, uint32_t Count) {
    CBackend* pTarget = Target();
    if (!pTarget || !pIndices || !pValues || pTarget->IsHalted() <= 0) {
        return -1;
    }
    for (uint32_t Index = 0; Index < Count; Index++) {
        const bool Ok = pTarget->ReadReg(pIndices[Index], pValues[Index]);
        if (pStatus) {
            pStatus[Index] = !Ok;
        }
    }
    return 0;
}

uint8_t NOVIKARM_WriteReg(uint32_t Index, uint32_t Value) {
    CBackend* pTarget = Target();
    return !(pTarget && pTarget->WriteReg(Index, Value));
}

int32_t NOVIKARM_CP15_ReadEx(uint8_t, uint8_t, uint8_t, uint8_t, uint32_t*) {
    return -1; // no simulated core has a coprocessor 15
}

int32_t NOVIKARM_CP15_WriteEx(uint8_t, uint8_t, uint8_t, uint8_t, uint32_t) { return -1; }

// --- Breakpoints and watchpoints --------------------------------------------------------------------------------

void NOVIKARM_EnableSoftBPs(uint8_t Enable) {
    if (CBackend* pTarget = Target()) {
        pTarget->EnableSoftBreakpoints(Enable);
    }
}

uint32_t NOVIKARM_SetBPEx(uint32_t Addr, uint32_t TypeFlags) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->SetBreakpoint(Addr, TypeFlags) : 0;
}

int32_t NOVIKARM_ClrBPEx(uint32_t Handle) {
    CBackend* pTarget = Target();
    return pTarget && pTarget->ClearBreakpoint(Handle) ? 0 : -1;
}

int32_t NOVIKARM_GetBPInfoEx(int32_t Index, NOVIKARM_BP_INFO* pInfo) {
    CBackend* pTarget = Target();
    if (!pTarget || (pInfo && pInfo->SizeOfStruct < sizeof(*pInfo)) || (Index >= 0 && !pInfo)) {
        return -1;
    }
    const std::vector<NOVIKARM_BP_INFO> Infos = pTarget->GetBreakpoints();
    const int32_t Count = static_cast<int32_t>(Infos.size());
    if (Index == -1 && (!pInfo || pInfo->Handle == 0)) {
        return Count;
    }
    for (int32_t Pos = 0; Pos < Count; Pos++) {
        const NOVIKARM_BP_INFO& Info = Infos[static_cast<size_t>(Pos)];
        if (Index == -1 ? Info.Handle == pInfo->Handle : Pos == Index) {
            *pInfo = Info;
            return Count;
        }
    }
    return -1;
}

int32_t NOVIKARM_SetDataEvent(const NOVIKARM_DATA_EVENT* pEvent, uint32_t* pHandle) {
    CBackend* pTarget = Target();
    if (!pTarget || !pEvent || pEvent->SizeOfStruct < sizeof(*pEvent)) {
        return static_cast<int32_t>(NOVIK_EVENT_ERR_UNKNOWN);
    }
    uint32_t Handle = 0;
    const int32_t Result = pTarget->SetWatchpoint(*pEvent, Handle);
    if (Result >= 0 && pHandle) {
        *pHandle = Handle;
    }
    return Result;
}

int32_t NOVIKARM_ClrDataEvent(uint32_t Handle) {
    CBackend* pTarget = Target();
    return pTarget && pTarget->ClearWatchpoint(Handle) ? 0 : -1;
}

int32_t NOVIKARM_GetWPInfoEx(int32_t Index, NOVIKARM_WP_INFO* pInfo) {
    CBackend* pTarget = Target();
    if (!pTarget || (pInfo && pInfo->SizeOfStruct < sizeof(*pInfo)) || (Index >= 0 && !pInfo)) {
        return -1;
    }
    const std::vector<NOVIKARM_WP_INFO> Infos = pTarget->GetWatchpoints();
    const int32_t Count = static_cast<int32_t>(Infos.size());
    if (Index == -1) {
        return Count;
    }
    if (Index < 0 || Index >= Count) {
        return -1;
    }
    *pInfo = Infos[static_cast<size_t>(Index)];
    return Count;
}
