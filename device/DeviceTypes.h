#pragma once

// Enumerations and plain records of target control: connection, reset and halt modes, breakpoints, watchpoints and
// coprocessor registers. Values are part of the script interface and of stored projects and never change.

#include "base/Types.h"

enum CONNECT_MODES : int {
    CM_DOWNLOAD_RESET, ///< "Download & Reset Program"
    CM_ATTACH,         ///< "Attach to Running Program"
    CM_ATTACH_HALT,    ///< "Attach & Halt Program"
    CM_CONNECT_ONLY,   ///< opens the connection without the finishing step; not reported
    CM_SILENT,         ///< not reported
};

enum RESET_MODES : int {
    RM_RESET_HALT,      ///< "Reset & Halt"
    RM_BREAK_AT_SYMBOL, ///< "Reset & Break At Symbol"
    RM_RESET_AND_RUN,   ///< "Reset & Run"
    RM_PRE_DOWNLOAD,    ///< the reset before a download
    RM_SILENT,          ///< hardware reset only; not reported
    RM_STATE_RESTORED,  ///< reported after the target execution state was set as a whole
};

enum RESUME_MODES : int { GO_USER, GO_RUN_TO };

enum HALT_REASONS : int {
    HR_USER,       ///< any halt that is not at a user breakpoint
    HR_INIT,       ///< the PC was set; the target did not run
    HR_BREAKPOINT, ///< at an enabled breakpoint
    HR_RUN_TO,     ///< a run to a hidden breakpoint ended
};

/// The five mode bits of the CPSR.
enum ARM_CPU_MODES : int {
    MODE_USR = 16,
    MODE_FIQ = 17,
    MODE_IRQ = 18,
    MODE_SVC = 19,
    MODE_ABT = 23,
    MODE_UND = 27, ///< also stands for "unknown"
    MODE_SYS = 31,
};

/// Stands for the CPU mode that the target is in, where a mode is asked for.
constexpr int MODE_CURRENT = 170;

enum ARM_EXEC_MODES : int { EXEC_MODE_UNKNOWN, EXEC_MODE_ARM, EXEC_MODE_THUMB };

enum ARM_ENDIAN : int { ENDIAN_LITTLE, ENDIAN_BIG };

enum DEVICE_FAMILY : int {
    DF_UNKNOWN,
    DF_CORTEX_M1,
    DF_CORTEX_CF,
    DF_CORTEX_M3,
    DF_SIMULATOR,
    DF_XSCALE,
    DF_CORTEX_M0,
    DF_ARM7,
    DF_CORTEX_A8,
    DF_ARM9,
    DF_ARM10,
    DF_ARM11,
    DF_CORTEX_R4,
    DF_RX,
    DF_CORTEX_M4,
    DF_CORTEX_A5,
    DF_POWER_PC,
};

/// Hardware capability numbers, as told by OnDeviceCapabilityChanged().
enum DEVICE_CAPABILITIES : int {
    CAP_BACKGROUND_MEM,
    CAP_SWO,
    CAP_STREAMING_TRACE,
    CAP_TRACE_PINS,
    CAP_TRACE_BUFFER,
    CAP_TRACE_SWO,
    CAP_SECURITY_EXT,
    CAP_COUNT
};

enum DEV_CONFIG_PARAMS : int {
    DEV_CFG_DEVICE, ///< index in the probe library's device table, -1 none
    DEV_CFG_CORE_INDEX,
    DEV_CFG_USB_SN,
    DEV_CFG_USE_SN,
    DEV_CFG_HOST_IF,   ///< 1 USB, 2 IP
    DEV_CFG_TARGET_IF, ///< 0 JTAG, 1 SWD
    DEV_CFG_SPEED,     ///< Hz; 0 automatic, 65535 adaptive
    DEV_CFG_MAX_SPEED,
    DEV_CFG_ADAPTIVE,
    DEV_CFG_ENDIAN, ///< ARM_ENDIAN
    DEV_CFG_DR_PRE, ///< data bits before the target on a scan chain
    DEV_CFG_IR_PRE, ///< instruction bits before the target
    DEV_CFG_MULTI_TARGET,
    DEV_CFG_STEPPING_MODE,
    DEV_CFG_BREAK_ADDR, ///< address of the symbol to break at after a reset, -1 none
    DEV_CFG_NUM_COUNT,  ///< numbers end here
    DEV_CFG_HOST_NAME = 16,
    DEV_CFG_DEVICE_NAME,
    DEV_CFG_SCRIPT_FILE,
    DEV_CFG_LOG_FILE,
    DEV_CFG_END
};

enum BP_STATES : U32 {
    BP_STATE_OFF,
    BP_STATE_ON,
    BP_STATE_ON_HIDDEN,
    BP_STATE_DISABLED,
    BP_STATE_UNKNOWN,
};

/// Allowed implementation of a breakpoint.
enum BP_TYPES : U32 { BP_TYPE_ANY, BP_TYPE_HARD, BP_TYPE_SOFT };

/// One code breakpoint of the device's list; Addr is the key.
struct BPEntry {
    U32 Addr = 0;
    U64 HitCount = 0;
    U8 HasCondition = 0; ///< a halt here is referred to the main thread
    U8 Valid = 0;
    BP_STATES State = BP_STATE_OFF;
    BP_TYPES Type = BP_TYPE_ANY;
};

/// A data breakpoint. The identity is everything but ErrCode, Valid and State. Copied as bytes into jobs.
struct WP {
    U32 Addr = 0;
    U32 AddrMask = 0; ///< bits of the address to ignore
    U32 Data = 0;
    U32 DataMask = 0; ///< bits of the value to ignore
    I32 ErrCode = 0;  ///< result of the last attempt; see GetDataEventErrorText()
    U8 Valid = 0;
    BP_STATES State = BP_STATE_OFF;
    U32 AccessType = 0; ///< 0 read, 1 write, 2 read or write
    U32 AccessSize = 0; ///< 0 any, 1, 2, 4 bytes
};

/// A coprocessor register; only coprocessor 15 is served. The selectors are handed to the probe in this order.
struct ARM_CPR {
    U32 CpNum = 0;
    U32 Sel[4] = {};
};

constexpr U32 MEM_FLAG_HW_READ = 2;   ///< ranges are read through the probe's hardware-assisted path
constexpr U32 MEM_FLAG_REFRESH = 4;   ///< don't answer from a cache
constexpr U32 MEM_FLAG_ITEMWISE = 8;  ///< a short chunk is completed item by item
constexpr U32 MEM_FLAG_HALT = 16;     ///< a running target is halted for the access and resumed afterwards
constexpr U32 MEM_FLAG_DOWNLOAD = 32; ///< the write may reach flash

/// Access width that stands for the value of VAR_ACCESS_WIDTH; so does anything above it.
constexpr U32 MEM_ACCESS_WIDTH_DEFAULT = 255;

constexpr U32 BP_LIST_SIZE = 256;
constexpr U32 WP_LIST_SIZE = 256;
constexpr U32 REG_CACHE_SIZE = 30; ///< R0 to R15 in the current mode, the CPSR in 16, the rest spare
constexpr U32 REG_IDX_SP = 13;
constexpr U32 REG_IDX_LR = 14;
constexpr U32 REG_IDX_PC = 15;
constexpr U32 REG_IDX_CPSR = 16;
constexpr U32 REG_IDX_SPSR = 17;

/// Reason of a failed data breakpoint from WP::ErrCode; empty if there was no failure.
const char* GetDataEventErrorText(I32 ErrCode);
