#include "device/TargetState.h"

#include <algorithm>
#include <iterator>

CTargetState::CTargetState() {
    for (int Cap = 0; Cap < CAP_COUNT; Cap++) {
        Caps[size_t(Cap)] = Cap != CAP_SECURITY_EXT;
    }
    ForgetRegs();
}

void CTargetState::ForgetRegs(I64 Value) {
    for (CSharedValue<I64>& Reg : Regs) {
        Reg = Value;
    }
}

void CTargetState::Reset() {
    Connected = 0;
    ConnectionLost = 0;
    Halted = 0;
    StateValid = 0;
    Running = 1;
    HaltSeqActive = 0;
    HaltRequested = 0;
    SessionReady = 0;
    SrcStepActive = 0;
    ForgetRegs();
    ReturnAddr = -1;
    HiddenBPAddr = -1;
    HiddenBPJob = 0;
    CpuMode = MODE_UND;
    ExecMode = EXEC_MODE_UNKNOWN;
    ConditionAnswer = -1;
    CurFunc = 0;
    CurSrcLoc = CSrcLoc();
    SavedBP = BPEntry();
}

namespace {

struct CORE_ROW {
    U32 Core;
    int Family;
    const char* sArchitecture;
};

const CORE_ROW _aCores[] = {
    {0x010000FF, DF_CORTEX_M1, "ARMv6M"},
    {0x03000010, DF_CORTEX_M3, "ARMv7M"},
    {0x03000011, DF_CORTEX_M3, "ARMv7M"},
    {0x03000020, DF_CORTEX_M3, "ARMv7M"},
    {0x03000021, DF_CORTEX_M3, "ARMv7M"},
    {0x030000FF, DF_CORTEX_M3, "ARMv7M"},
    {0x060000FF, DF_CORTEX_M0, "ARMv6M"},
    {0x060100FF, DF_CORTEX_M0, "ARMv8M"},
    {0x0700003F, DF_ARM7, ""},
    {0x0700004F, DF_ARM7, ""},
    {0x070000FF, DF_ARM7, ""},
    {0x0700013F, DF_ARM7, ""},
    {0x0700014F, DF_ARM7, ""},
    {0x070001FF, DF_ARM7, ""},
    {0x07FFFFFF, DF_ARM7, ""},
    {0x080000FF, DF_CORTEX_A8, ""},
    {0x080800FF, DF_CORTEX_A8, ""},
    {0x080900FF, DF_CORTEX_A8, ""},
    {0x080A00FF, DF_CORTEX_A8, ""},
    {0x080B00FF, DF_CORTEX_A8, ""},
    {0x080C00FF, DF_CORTEX_A8, ""},
    {0x090001FF, DF_ARM9, ""},
    {0x092000FF, DF_ARM9, ""},
    {0x092200FF, DF_ARM9, ""},
    {0x092601FF, DF_ARM9, ""},
    {0x094601FF, DF_ARM9, ""},
    {0x096601FF, DF_ARM9, ""},
    {0x096801FF, DF_ARM9, ""},
    {0x09FFFFFF, DF_ARM9, ""},
    {0x0B3602FF, DF_ARM11, ""},
    {0x0B3603FF, DF_ARM11, ""},
    {0x0B3606FF, DF_ARM11, ""},
    {0x0B3607FF, DF_ARM11, ""},
    {0x0B36FFFF, DF_ARM11, ""},
    {0x0B56FFFF, DF_ARM11, ""},
    {0x0B7602FF, DF_ARM11, ""},
    {0x0B7603FF, DF_ARM11, ""},
    {0x0B7606FF, DF_ARM11, ""},
    {0x0B7607FF, DF_ARM11, ""},
    {0x0B76FFFF, DF_ARM11, ""},
    {0x0BFFFFFF, DF_ARM11, ""},
    {0x0C0000FF, DF_CORTEX_R4, ""},
    {0x0C0100FF, DF_CORTEX_R4, ""},
    {0x0D00FFFF, DF_CORTEX_R4, ""},
    {0x0D01FFFF, DF_CORTEX_R4, ""},
    {0x0D02FFFF, DF_CORTEX_R4, ""},
    {0x0D03FFFF, DF_CORTEX_R4, ""},
    {0x0D04FFFF, DF_CORTEX_R4, ""},
    {0x0D05FFFF, DF_CORTEX_R4, ""},
    {0x0D10FFFF, DF_CORTEX_R4, ""},
    {0x0D20FFFF, DF_CORTEX_R4, ""},
    {0x0DFFFFFF, DF_CORTEX_R4, ""},
    {0x0E0000FF, DF_CORTEX_M4, "ARMv7M"},
    {0x0E0100FF, DF_CORTEX_M4, "ARMv7M"},
    {0x0E0200FF, DF_CORTEX_M4, "ARMv8M"},
    {0x0F0000FF, DF_CORTEX_A5, ""},
};

const CORE_ROW* FindCore(U32 Core) {
    const auto* pRow =
        std::find_if(std::begin(_aCores), std::end(_aCores), [Core](const CORE_ROW& Row) { return Row.Core == Core; });
    return pRow == std::end(_aCores) ? nullptr : pRow;
}

} // namespace

int GetFamilyOfCore(U32 Core) {
    const CORE_ROW* pRow = FindCore(Core);
    return pRow ? pRow->Family : int(DF_UNKNOWN);
}

const char* GetArchitectureText(U32 Core) {
    const CORE_ROW* pRow = FindCore(Core);
    return pRow ? pRow->sArchitecture : "";
}

U32 GetInstSetOfFamily(int Family) { return Family == DF_ARM7 || Family == DF_ARM9 || Family == DF_ARM10 ? 1 : 2; }

bool CDeviceFacts::IsCortexMFamily(int Family) {
    return Family == DF_CORTEX_M1 || Family == DF_CORTEX_M3 || Family == DF_CORTEX_M0 || Family == DF_CORTEX_M4;
}

bool CDeviceFacts::IsClassicArmFamily(int Family) {
    return (Family >= DF_ARM7 && Family <= DF_CORTEX_R4) || Family == DF_CORTEX_A5;
}
