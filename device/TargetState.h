#pragma once

// The state of the target as last seen. The device thread writes it; any thread reads single values.

#include "device/DeviceTypes.h"
#include "device/SharedValue.h"
#include "elf/SrcLoc.h"

#include <array>

struct CTargetState {
    CSharedValue<U8> Connected;
    CSharedValue<U8> ConnectionLost;
    CSharedValue<U8> Halted;
    CSharedValue<U8> StateValid; ///< registers and halt conditions are settled; other threads may look
    CSharedValue<U8> Running;
    CSharedValue<U8> HaltSeqActive; ///< from the moment a halt is seen until it is reported or the target goes on
    CSharedValue<U8> HaltRequested;
    CSharedValue<U8> SessionReady; ///< start of the program is over; halts are the user's business
    CSharedValue<U8> SrcStepActive;
    CSharedValue<U8> HasRunSinceTraceRead;

    std::array<CSharedValue<I64>, REG_CACHE_SIZE> Regs; ///< -1 unknown; bit 0 of the PC is clear
    CSharedValue<I64> ReturnAddr{-1};                   ///< where the call that a step has just entered comes back to
    CSharedValue<I64> HiddenBPAddr{-1};
    CSharedValue<U32> HiddenBPJob; ///< job that awaits the hidden breakpoint, JT_NONE for none
    CSharedValue<ARM_CPU_MODES> CpuMode{MODE_UND};
    CSharedValue<ARM_EXEC_MODES> ExecMode{EXEC_MODE_UNKNOWN};
    CSharedValue<int> DataEndian;
    CSharedValue<int> InstEndian;
    CSharedValue<U32> InterfaceSpeed; ///< Hz as measured
    CSharedValue<int> LastDownloadResult;
    CSharedText DownloadProblems; ///< what was refused since the download began, one a line
    std::array<CSharedValue<U8>, CAP_COUNT> Caps;

    CSharedValue<int> DeferredConnectMode{-1};
    CSharedValue<int> DeferredResetMode{-1};
    CSharedValue<U8> InitSPandPCWanted;
    CSharedValue<int> ConditionAnswer{-1}; ///< of the main thread to a breakpoint condition: 0 false, 1 true, -1 none
    CSharedValue<U32> ConditionPC;

    U64 CurFunc = 0;   ///< function at the PC; device thread
    CSrcLoc CurSrcLoc; ///< source line of the PC; device thread
    BPEntry SavedBP;   ///< disabled breakpoint that a run-to has replaced for its time; device thread

    CTargetState();
    void ForgetRegs(I64 Value = -1);
    /// What a connect starts from. Configuration, capabilities and endianness stay.
    void Reset();
};

/// Facts of the selected device and the probe. Written by the device thread, read by any.
struct CDeviceFacts {
    CSharedValue<U32> Core;       ///< core identifier of the probe library, 0 unknown
    CSharedValue<int> Family;     ///< DEVICE_FAMILY
    CSharedValue<U32> InstSet{2}; ///< 1 ARM and 16-bit Thumb, 2 Thumb-2
    CSharedValue<U32> RamAddr;
    CSharedValue<U32> RamSize;
    CSharedValue<U32> LibVersion;
    CSharedValue<U32> ProbeSerialNo;
    CSharedValue<U32> DeviceCount;
    CSharedText CoreName;
    CSharedText FirmwareText;
    CSharedText LibPath;
    CSharedText WebUrl;   ///< empty if the probe has no web control
    CSharedText SwoError; ///< why the target has no SWO trace, empty if it has

    bool IsCortexM() const { return IsCortexMFamily(Family); }
    bool IsClassicArm() const { return IsClassicArmFamily(Family); }
    static bool IsCortexMFamily(int Family);
    static bool IsClassicArmFamily(int Family);
};

/// DEVICE_FAMILY of a core identifier, 0 if unknown.
int GetFamilyOfCore(U32 Core);
/// Instruction set class of a family: 1 ARM and 16-bit Thumb, 2 Thumb-2.
U32 GetInstSetOfFamily(int Family);
/// "ARMv6M", "ARMv7M", "ARMv8M", or empty.
const char* GetArchitectureText(U32 Core);
