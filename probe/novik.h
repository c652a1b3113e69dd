#pragma once
// The probe library: everything that touches a debug probe, or takes the place of one, stands behind this plain C
// interface. The library has global state: one connection per process and no handles.
//
// Threads: one thread at a time calls the library (the debugger's device thread). NOVIKARM_DEVICE_GetInfo,
// NOVIKARM_DEVICE_GetIndex and NOVIKARM_Core2CoreName may be called by any thread at any time. Callbacks run on the
// calling thread, from within any operation.
//
// Errors: unless stated otherwise an operation returns 0 on success and a non-zero value on failure. No operation
// throws, and none ends the caller's process; bad arguments are failures.
//
// Records are exchanged by pointer, little-endian, laid out exactly as declared here for 64-bit hosts. Each record
// that begins with SizeOfStruct must have that field set by the caller; the rest of it is zeroed first.

#include <stddef.h>
#include <stdint.h>

#ifdef NOVIK_BUILD
#define NOVIK_API __attribute__((visibility("default")))
#else
#define NOVIK_API
#endif

#ifdef __cplusplus
#define NOVIK_STATIC_ASSERT(Cond) static_assert(Cond, #Cond)
extern "C" {
#else
#define NOVIK_STATIC_ASSERT(Cond) _Static_assert(Cond, #Cond)
#endif

// ---------------------------------------------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------------------------------------------

// One breakpoint as the library holds it.
typedef struct NOVIKARM_BP_INFO {
    uint32_t SizeOfStruct; // 28
    uint32_t Handle;       // value returned by NOVIKARM_SetBPEx; the key when a record is asked for by handle
    uint32_t Addr;         // breakpoint address
    uint32_t Reserved0;
    uint32_t ImplFlags; // NOVIK_BP_IMPL_* bits: how the library implements the breakpoint, 0 while pending
    uint32_t Reserved1[2];
} NOVIKARM_BP_INFO;
NOVIK_STATIC_ASSERT(sizeof(NOVIKARM_BP_INFO) == 28);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_BP_INFO, Handle) == 4);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_BP_INFO, Addr) == 8);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_BP_INFO, ImplFlags) == 16);

// A data breakpoint to be set.
typedef struct NOVIKARM_DATA_EVENT {
    uint32_t SizeOfStruct; // 28
    uint32_t Type;         // NOVIK_EVENT_TYPE_BP
    uint32_t Addr;         // data address
    uint32_t AddrMask;     // bits of the address to ignore
    uint32_t Data;         // value to compare with
    uint32_t DataMask;     // bits of the value to ignore; all ones: the value is not compared
    uint8_t Access;        // bit 0: write; bits 1 and 2: access size, the value 2 or 4 or-ed in, nothing for a byte
    uint8_t AccessMask;    // bit 0: direction ignored; bits 1 and 2 (value 6): size ignored; bit 4: always set
    uint8_t Reserved[2];   // zero
} NOVIKARM_DATA_EVENT;
NOVIK_STATIC_ASSERT(sizeof(NOVIKARM_DATA_EVENT) == 28);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DATA_EVENT, Type) == 4);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DATA_EVENT, Addr) == 8);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DATA_EVENT, AddrMask) == 12);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DATA_EVENT, Data) == 16);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DATA_EVENT, DataMask) == 20);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DATA_EVENT, Access) == 24);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DATA_EVENT, AccessMask) == 25);

// A data breakpoint as the library holds it.
typedef struct NOVIKARM_WP_INFO {
    uint32_t SizeOfStruct; // 40
    uint32_t Handle;
    uint32_t Addr;
    uint32_t AddrMask; // 3 where the request said 0
    uint32_t Data;
    uint32_t DataMask;
    uint32_t Access;     // as in NOVIKARM_DATA_EVENT
    uint32_t AccessMask; // as in NOVIKARM_DATA_EVENT
    uint32_t Reserved[2];
} NOVIKARM_WP_INFO;
NOVIK_STATIC_ASSERT(sizeof(NOVIKARM_WP_INFO) == 40);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_WP_INFO, Handle) == 4);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_WP_INFO, Addr) == 8);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_WP_INFO, AddrMask) == 12);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_WP_INFO, Data) == 16);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_WP_INFO, DataMask) == 20);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_WP_INFO, Access) == 24);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_WP_INFO, AccessMask) == 28);

// One entry of the device table.
typedef struct NOVIKARM_DEVICE_INFO {
    uint32_t SizeOfStruct; // 1368
    uint32_t Reserved0;
    const char* sName; // device name, owned by the library, valid until the process ends
    uint32_t Reserved1;
    uint32_t MemAddr; // first memory region (flash), address
    uint32_t RAMAddr; // work area for NOVIKARM_MeasureCPUSpeedEx
    uint32_t Reserved2;
    uint32_t MemSize;  // first memory region, bytes
    uint32_t RAMSize;  // bytes
    const char* sManu; // manufacturer name, owned by the library
    uint8_t Reserved3[512];
    uint32_t Core; // core identifier, NOVIK_CORE_*
    uint8_t Reserved4[804];
} NOVIKARM_DEVICE_INFO;
NOVIK_STATIC_ASSERT(sizeof(NOVIKARM_DEVICE_INFO) == 1368);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DEVICE_INFO, sName) == 8);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DEVICE_INFO, MemAddr) == 20);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DEVICE_INFO, RAMAddr) == 24);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DEVICE_INFO, MemSize) == 32);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DEVICE_INFO, RAMSize) == 36);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DEVICE_INFO, sManu) == 40);
NOVIK_STATIC_ASSERT(offsetof(NOVIKARM_DEVICE_INFO, Core) == 560);

// One range sampled by high speed sampling.
typedef struct NOVIK_HSS_MEM_BLOCK {
    uint32_t Addr;
    uint32_t NumBytes;
    uint32_t Flags; // 0
    uint32_t Reserved;
} NOVIK_HSS_MEM_BLOCK;
NOVIK_STATIC_ASSERT(sizeof(NOVIK_HSS_MEM_BLOCK) == 16);
NOVIK_STATIC_ASSERT(offsetof(NOVIK_HSS_MEM_BLOCK, NumBytes) == 4);
NOVIK_STATIC_ASSERT(offsetof(NOVIK_HSS_MEM_BLOCK, Flags) == 8);

// One counter of the execution statistics.
typedef struct NOVIK_STRACE_INST_STAT {
    uint64_t Count;
} NOVIK_STRACE_INST_STAT;
NOVIK_STATIC_ASSERT(sizeof(NOVIK_STRACE_INST_STAT) == 8);

// What the instruction decoder tells of one instruction.
typedef struct NOVIK_INST_INFO {
    uint16_t Length;       // bytes; 0: use the decoder's return value
    uint8_t IsBranch;      // changes the PC other than to the next instruction, returns and calls included
    uint8_t IsCall;        // stores a return address in LR
    uint8_t IsIndirect;    // the target comes from a register or from memory
    uint8_t IsReturn;      // bx lr, mov pc,lr, a load of the PC based on SP, a return from an exception
    uint8_t IsConditional; // executes under a condition of its own (not that of an IT block)
    uint8_t IT;            // of an IT instruction: mask in the low nibble, first condition in the high one; else 0
} NOVIK_INST_INFO;
NOVIK_STATIC_ASSERT(sizeof(NOVIK_INST_INFO) == 8);
NOVIK_STATIC_ASSERT(offsetof(NOVIK_INST_INFO, IsBranch) == 2);
NOVIK_STATIC_ASSERT(offsetof(NOVIK_INST_INFO, IsConditional) == 6);
NOVIK_STATIC_ASSERT(offsetof(NOVIK_INST_INFO, IT) == 7);

// What NOVIK_FUNC_WEB_INFO fills in.
typedef struct NOVIK_WEB_INFO {
    uint32_t SizeOfStruct;
    uint16_t Port; // TCP port of the web control interface on the loopback address, 0: not told
    uint8_t Reserved[250];
} NOVIK_WEB_INFO;
NOVIK_STATIC_ASSERT(sizeof(NOVIK_WEB_INFO) == 256);
NOVIK_STATIC_ASSERT(offsetof(NOVIK_WEB_INFO, Port) == 4);

// A memory of a device.
typedef struct NOVIK_MEM_REGION {
    uint32_t Addr;
    uint32_t Size;    // bytes
    uint32_t IsFlash; // 1: only a download writes it; 0: RAM
} NOVIK_MEM_REGION;
enum { NOVIK_MAX_MEM_REGIONS = 32 };

// What NOVIK_FUNC_DEVICE_LAYOUT tells of one device of the table.
typedef struct NOVIK_DEVICE_LAYOUT {
    uint32_t SizeOfStruct;
    uint32_t NumBreakpoints; // comparators for breakpoints
    uint32_t NumRegions;     // used entries of aRegions
    NOVIK_MEM_REGION aRegions[NOVIK_MAX_MEM_REGIONS];
} NOVIK_DEVICE_LAYOUT;

// ---------------------------------------------------------------------------------------------------------------
// Constants
// ---------------------------------------------------------------------------------------------------------------

// Core identifiers (NOVIKARM_DEVICE_INFO::Core) of the cores the device table uses by name.
enum {
    NOVIK_CORE_CORTEX_M1 = 0x010000FF,
    NOVIK_CORE_CORTEX_M3_R1P0 = 0x03000010,
    NOVIK_CORE_CORTEX_M3_R1P1 = 0x03000011,
    NOVIK_CORE_CORTEX_M3_R2P0 = 0x03000020,
    NOVIK_CORE_CORTEX_M3_R2P1 = 0x03000021,
    NOVIK_CORE_CORTEX_M3 = 0x030000FF,
    NOVIK_CORE_CORTEX_M0 = 0x060000FF,
    NOVIK_CORE_CORTEX_M23 = 0x060100FF,
    NOVIK_CORE_ARM7TDMI = 0x070000FF,
    NOVIK_CORE_CORTEX_A8 = 0x080000FF,
    NOVIK_CORE_CORTEX_A7 = 0x080800FF,
    NOVIK_CORE_CORTEX_A9 = 0x080900FF,
    NOVIK_CORE_ARM920T = 0x092000FF,
    NOVIK_CORE_ARM926EJS = 0x092601FF,
    NOVIK_CORE_ARM1176 = 0x0B7602FF,
    NOVIK_CORE_CORTEX_R4 = 0x0C0000FF,
    NOVIK_CORE_CORTEX_R5 = 0x0C0100FF,
    NOVIK_CORE_CORTEX_M4 = 0x0E0000FF,
    NOVIK_CORE_CORTEX_M7 = 0x0E0100FF,
    NOVIK_CORE_CORTEX_M33 = 0x0E0200FF,
    NOVIK_CORE_CORTEX_A5 = 0x0F0000FF
};

// Register indices of the Cortex-M group; all are below 82. Register 13 is the stack pointer in use.
enum {
    NOVIK_REG_R0 = 0, // R0 to R12 follow each other
    NOVIK_REG_SP = 13,
    NOVIK_REG_LR = 14,
    NOVIK_REG_PC = 15,
    NOVIK_REG_XPSR = 16,
    NOVIK_REG_MSP = 17,
    NOVIK_REG_PSP = 18,
    NOVIK_REG_CFBP = 20, // CONTROL, FAULTMASK, BASEPRI, PRIMASK from the high byte to the low one
    NOVIK_REG_APSR = 21,
    NOVIK_REG_EPSR = 22,
    NOVIK_REG_IPSR = 23,
    NOVIK_REG_PRIMASK = 24,
    NOVIK_REG_BASEPRI = 25,
    NOVIK_REG_FAULTMASK = 26,
    NOVIK_REG_CONTROL = 27,
    NOVIK_REG_MSPLIM = 29, // ARMv8-M
    NOVIK_REG_PSPLIM = 30, // ARMv8-M
    NOVIK_REG_FPSCR = 32,  // cores with floating point
    NOVIK_REG_S0 = 33,     // S0 to S31 follow each other
    NOVIK_REG_CYCCNT = 65, // cycle counter of the DWT unit, read only
    NOVIK_NUM_REGS = 82
};

// Type flags of NOVIKARM_SetBPEx: one implementation word or-ed with one mode.
#define NOVIK_BP_TYPE_ANY 0xFFFFFFF0u
#define NOVIK_BP_TYPE_HARD 0xFFFFFF00u
#define NOVIK_BP_TYPE_SOFT 0x000000F0u
#define NOVIK_BP_MODE_ARM 0x1u
#define NOVIK_BP_MODE_THUMB 0x2u

// Implementation of a breakpoint, NOVIKARM_BP_INFO::ImplFlags.
#define NOVIK_BP_IMPL_HARD 0x01u
#define NOVIK_BP_IMPL_SOFT_RAM 0x02u
#define NOVIK_BP_IMPL_SOFT_FLASH 0x10u

#define NOVIK_HANDLE_ALL 0xFFFFFFFFu // all breakpoints, all data events, all stimulus ports

#define NOVIK_EVENT_TYPE_BP 1u
#define NOVIK_ACCESS_WRITE 0x01u
#define NOVIK_ACCESS_SIZE_2 0x02u
#define NOVIK_ACCESS_SIZE_4 0x04u
#define NOVIK_ACCESS_MASK_DIR 0x01u
#define NOVIK_ACCESS_MASK_SIZE 0x06u
#define NOVIK_ACCESS_MASK_ALWAYS 0x10u

// Failed NOVIKARM_SetDataEvent: bit 31 and one reason bit; bit 31 alone is an unknown error.
#define NOVIK_EVENT_ERR_UNKNOWN 0x80000000u
#define NOVIK_EVENT_ERR_NO_MORE_EVENTS 0x80000001u
#define NOVIK_EVENT_ERR_NO_MORE_ADDR_COMP 0x80000002u
#define NOVIK_EVENT_ERR_NO_MORE_DATA_COMP 0x80000004u
#define NOVIK_EVENT_ERR_INV_ADDR_MASK 0x80000020u
#define NOVIK_EVENT_ERR_INV_DATA_MASK 0x80000040u
#define NOVIK_EVENT_ERR_INV_ACCESS_MASK 0x80000080u

enum { NOVIK_TIF_JTAG = 0, NOVIK_TIF_SWD = 1 };
enum { NOVIK_SPEED_AUTO = 0, NOVIK_SPEED_ADAPTIVE = 0xFFFF };
enum { NOVIK_ENDIAN_LITTLE = 0, NOVIK_ENDIAN_BIG = 1 };

enum { // NOVIKARM_EndDownload
    NOVIK_DL_OK = 0,
    NOVIK_DL_ERR_UNSPECIFIED = -1,
    NOVIK_DL_ERR_COMPARE = -2,
    NOVIK_DL_ERR_PROGRAM_ERASE = -3,
    NOVIK_DL_ERR_VERIFY = -4
};

enum { // NOVIK_HSS_Start
    NOVIK_HSS_OK = 0,
    NOVIK_HSS_ERR_UNSPECIFIED = -1,
    NOVIK_HSS_ERR_NO_MEMORY = -2,
    NOVIK_HSS_ERR_TOO_MANY_BLOCKS = -3,
    NOVIK_HSS_ERR_NOT_SUPPORTED = -4,
    NOVIK_HSS_MAX_BLOCKS = 511
};

enum { NOVIK_CAP_SWO = 0x17 };                     // NOVIKARM_EMU_HasCapEx
enum { NOVIK_DEBUGINFO_HAS_SECURITY_EXT = 0x10F }; // NOVIKARM_GetDebugInfo
enum { NOVIK_RAWTRACE_CMD_GET_CAPS = 4 };          // NOVIKARM_RAWTRACE_Control
#define NOVIK_RAWTRACE_CAP_STREAMING 0x20u
enum { NOVIK_RTT_CMD_START = 0, NOVIK_RTT_CMD_STOP = 1 };
enum { NOVIK_SWO_CMD_FLUSH = 2 };

// Names of the text commands of NOVIKARM_ExecCommand; the comment gives the form in which each is sent.
// "PortWidth" goes to NOVIK_STRACE_Config. The simulator's own commands are described in docs/simulator.md.
#define NOVIK_EXEC_SET_RTT_ADDR "SetRTTAddr"                   // "%s 0x%x": address of the control block
#define NOVIK_EXEC_SET_RTT_SEARCH_RANGES "SetRTTSearchRanges"  // "%s 0x%X 0x%X", each further ", 0x%X 0x%X"
#define NOVIK_EXEC_READ_INTO_TRACE_CACHE "ReadIntoTraceCache"  // "%s 0x%X 0x%X": address and size
#define NOVIK_EXEC_TRACE_SAMPLE_ADJUST "TraceSampleAdjust"     // "TD = %d" or "TD0 = %d TD1 = %d ...", picoseconds
#define NOVIK_EXEC_PORT_WIDTH "PortWidth"                      // "%s=%d": 1, 2, 4
#define NOVIK_EXEC_SELECT_TRACE_SOURCE "SelectTraceSource"     // "%s=%d": 1 for trace pins, else 0
#define NOVIK_EXEC_SCRIPT_FILE "ScriptFile"                    // "%s=%s": path of a file of text commands
#define NOVIK_EXEC_DEVICE "device"                             // "%s=%s": device name
#define NOVIK_EXEC_HIDE_DEVICE_SELECTION "HideDeviceSelection" // "%s=%s": "1" or "0"
enum { NOVIK_EXEC_MAX_LEN = 1024 };

// Ids of the optional entry points, NOVIK_GetpFunc.
enum {
    NOVIK_FUNC_BACKGROUND_MEM_ACCESS = 10, // NOVIK_BMA_FUNC
    NOVIK_FUNC_GET_ENDIAN = 12,            // NOVIK_ENDIAN_FUNC
    NOVIK_FUNC_GET_DECODER = 23,           // NOVIK_GET_DECODER_FUNC
    NOVIK_FUNC_GET_DISASSEMBLER = 29,      // NOVIK_GET_DISASSEMBLER_FUNC
    NOVIK_FUNC_WEB_INFO = 33,              // NOVIK_WEB_INFO_FUNC
    NOVIK_FUNC_DEVICE_LAYOUT = 0x100       // NOVIK_DEVICE_LAYOUT_FUNC
};
enum { NOVIK_INST_MODE_ARM = 1, NOVIK_INST_MODE_THUMB = 2 };

typedef void NOVIK_LOG_FUNC(const char* sText);

// Non-zero: the target's memory can be read while it runs.
typedef int NOVIK_BMA_FUNC(void);
// Fills the record of the device with that index. Negative: there is no such device.
typedef int NOVIK_DEVICE_LAYOUT_FUNC(int32_t Index, NOVIK_DEVICE_LAYOUT* pLayout);
// Negative: unknown; else bit 0: data big-endian, bit 1: instructions big-endian.
typedef int NOVIK_ENDIAN_FUNC(void);
// Writes the NOVIK_DECODER of the core to *ppOut. Negative: there is none for this core.
typedef int NOVIK_GET_DECODER_FUNC(uint32_t Core, void** ppOut);
// Writes the NOVIK_DISASSEMBLER of the core to *ppOut. Negative: there is none for this core.
typedef int NOVIK_GET_DISASSEMBLER_FUNC(uint32_t Core, void** ppOut);
// Fills a NOVIK_WEB_INFO.
typedef void NOVIK_WEB_INFO_FUNC(void* pInfo);

// Classifies the instruction at pInst, of which 4 bytes must be readable. Mode: NOVIK_INST_MODE_*. Result: length in
// bytes, below 1 when the bytes are no instruction. Keeps no state; any thread.
typedef int NOVIK_DECODER(NOVIK_INST_INFO* pInfo, const void* pInst, uint32_t Addr, uint8_t Mode);
// Writes the instruction's text, 0-terminated and cut to TextSize: mnemonic, a blank, operands, in upper case but for
// the x of a number ("LDR R0, [PC, #8]"). Branches give the distance from the PC as the instruction reads it, that is
// Addr + 4, in A32 Addr + 8 ("BL #-0x20"). NumBytes: bytes at pInst. Result: 2 or 4, the instruction's length; else
// failure. Keeps no state from call to call; any thread.
typedef int NOVIK_DISASSEMBLER(char* sText, uint32_t TextSize, const void* pInst, uint32_t NumBytes, uint32_t Addr,
                               uint8_t Mode);

// ---------------------------------------------------------------------------------------------------------------
// Start-up and identification
// ---------------------------------------------------------------------------------------------------------------

// Version as major * 10000 + minor * 100 + revision. Callable before NOVIKARM_Open.
NOVIK_API uint32_t NOVIKARM_GetDLLVersion(void);
// Fills the record of device Index, result 0; negative for a bad index or record. With Index -1 and a null record
// the number of known devices. Callable before NOVIKARM_Open, any thread.
NOVIK_API int32_t NOVIKARM_DEVICE_GetInfo(int32_t Index, NOVIKARM_DEVICE_INFO* pInfo);
// Index of the device of that name (letter case ignored), negative if there is none. Any thread.
NOVIK_API int32_t NOVIKARM_DEVICE_GetIndex(const char* sDeviceName);
// Writes the core's display name, empty for an unknown core. Any thread.
NOVIK_API void NOVIKARM_Core2CoreName(uint32_t Core, char* sBuffer, uint32_t BufferSize);
// Optional entry point FuncId (NOVIK_FUNC_*), null if there is none. Callable before NOVIKARM_Open.
NOVIK_API void* NOVIK_GetpFunc(uint32_t FuncId);
// Probe firmware text: "<probe> compiled <what>".
NOVIK_API void NOVIKARM_GetFirmwareString(char* sBuffer, uint32_t BufferSize);
// Serial number of the connected probe.
NOVIK_API uint32_t NOVIKARM_GetSN(void);
// Non-zero if the probe has capability NOVIK_CAP_*.
NOVIK_API int NOVIKARM_EMU_HasCapEx(int Capability);
// NOVIK_DEBUGINFO_HAS_SECURITY_EXT: *pOut greater than 0: the core has the security extension.
NOVIK_API int NOVIKARM_GetDebugInfo(uint32_t Id, uint32_t* pOut);
// NOVIK_RAWTRACE_CMD_GET_CAPS: *pOut gets NOVIK_RAWTRACE_CAP_* bits.
NOVIK_API int NOVIKARM_RAWTRACE_Control(uint32_t Cmd, uint32_t* pOut);

// ---------------------------------------------------------------------------------------------------------------
// Host interface and session
// ---------------------------------------------------------------------------------------------------------------

// Selects the first probe on USB (Port 0): the simulator. Negative on failure.
NOVIK_API int8_t NOVIKARM_SelectUSB(int32_t Port);
// Selects the probe with that serial number. Negative if it is not found.
NOVIK_API int32_t NOVIKARM_EMU_SelectByUSBSN(uint32_t SerialNo);
// Selects a probe on the network. 1 on failure.
NOVIK_API uint8_t NOVIKARM_SelectIP(const char* sHost, int32_t Port);
// Callbacks for log, warning and error texts; null for none.
NOVIK_API void NOVIKARM_EnableLog(NOVIK_LOG_FUNC* pfLog);
NOVIK_API void NOVIKARM_SetWarnOutHandler(NOVIK_LOG_FUNC* pfWarn);
NOVIK_API void NOVIKARM_SetErrorOutHandler(NOVIK_LOG_FUNC* pfError);
// Library log to that file; null or empty: no file.
NOVIK_API void NOVIKARM_SetLogFile(const char* sPath);
// Opens the selected probe. Null on success, else an error text owned by the library.
NOVIK_API const char* NOVIKARM_Open(void);
NOVIK_API uint8_t NOVIKARM_IsOpen(void);
// Closes the probe; all library state is gone. A simulated target keeps its memories and stands still until the next
// open.
NOVIK_API void NOVIKARM_Close(void);
// Runs a text command of at most NOVIK_EXEC_MAX_LEN characters. A non-empty error text means failure, whatever the
// result is. sError (may be null) is zeroed by the caller.
NOVIK_API int32_t NOVIKARM_ExecCommand(const char* sCommand, char* sError, int32_t ErrorSize);
// NOVIK_ENDIAN_*: what the caller takes the target's data for. The order of the items of NOVIKARM_ReadMemU16 and the
// like is that of the device; a caller who takes it for another gets a warning.
NOVIK_API void NOVIKARM_SetEndian(int32_t Endian);
// Index of the core in a device with several cores.
NOVIK_API void NOVIKARM_SetCoreIndex(uint32_t Index);
// NOVIK_TIF_*.
NOVIK_API void NOVIKARM_TIF_Select(int32_t Interface);
// Position on a JTAG scan chain: instruction bits and devices before the target.
NOVIK_API void NOVIKARM_ConfigJTAG(int32_t IRPre, int32_t DRPre);
// kHz (cut to 50000), or NOVIK_SPEED_AUTO, NOVIK_SPEED_ADAPTIVE.
NOVIK_API void NOVIKARM_SetSpeed(uint32_t Speed);
// Current speed in kHz in the low 16 bits, 0 and 0xFFFF in the sense of NOVIKARM_SetSpeed.
NOVIK_API uint32_t NOVIKARM_GetSpeed(void);
// Connects to the target and leaves it in the state it is in.
NOVIK_API int NOVIKARM_Connect(void);
NOVIK_API uint8_t NOVIKARM_IsConnected(void);
// 1 allows software breakpoints.
NOVIK_API void NOVIKARM_EnableSoftBPs(uint8_t Enable);

// ---------------------------------------------------------------------------------------------------------------
// Run control
// ---------------------------------------------------------------------------------------------------------------

// 0 running, 1 or more halted, negative: the connection is lost. Cheap enough to poll every 50 ms.
NOVIK_API int8_t NOVIKARM_IsHalted(void);
// Returns with the target halted.
NOVIK_API int NOVIKARM_Halt(void);
// Resumes the target and steps over a breakpoint at the PC. Called with 0, 1.
NOVIK_API void NOVIKARM_GoEx(uint32_t MaxEmulInsts, uint32_t Flags);
// Executes one instruction and returns with the target halted.
NOVIK_API int NOVIKARM_Step(void);
// 0: normal reset, the only type.
NOVIK_API void NOVIKARM_SetResetType(int32_t Type);
// Pause between reset and halt in ms.
NOVIK_API void NOVIKARM_SetResetDelay(int32_t Delay);
// 1: registers get their reset values, 0: R0 to R12 keep what they held (halted targets only).
NOVIK_API void NOVIKARM_SetInitRegsOnReset(int32_t Init);
// Resets the target and halts it before its first instruction.
NOVIK_API int NOVIKARM_Reset(void);

// ---------------------------------------------------------------------------------------------------------------
// Memory. Access widths: 0 automatic, 1, 2, 4 bytes.
// ---------------------------------------------------------------------------------------------------------------

// Read NumItems items, one access of that width each. pStatus (may be null) gets 0 for each item that was read, else
// 1. Result: number of items read, negative on failure.
NOVIK_API int32_t NOVIKARM_ReadMemU8(uint32_t Addr, uint32_t NumItems, uint8_t* pData, uint8_t* pStatus);
NOVIK_API int32_t NOVIKARM_ReadMemU16(uint32_t Addr, uint32_t NumItems, uint16_t* pData, uint8_t* pStatus);
NOVIK_API int32_t NOVIKARM_ReadMemU32(uint32_t Addr, uint32_t NumItems, uint32_t* pData, uint8_t* pStatus);
NOVIK_API int32_t NOVIKARM_ReadMemU64(uint32_t Addr, uint32_t NumItems, uint64_t* pData, uint8_t* pStatus);
// Read with the probe's hardware-assisted path: all bytes or failure.
NOVIK_API int32_t NOVIKARM_ReadMemHW(uint32_t Addr, uint32_t NumBytes, void* pData);
// Bytes read up to the first failing item, negative when there is no connection.
NOVIK_API int32_t NOVIKARM_ReadMemEx(uint32_t Addr, uint32_t NumBytes, void* pData, int32_t AccessWidth);
// All bytes or failure.
NOVIK_API int32_t NOVIKARM_ReadMem(uint32_t Addr, uint32_t NumBytes, void* pData);
NOVIK_API int32_t NOVIKARM_WriteU8(uint32_t Addr, uint8_t Data);
NOVIK_API int32_t NOVIKARM_WriteU16(uint32_t Addr, uint16_t Data);
NOVIK_API int32_t NOVIKARM_WriteU32(uint32_t Addr, uint32_t Data);
NOVIK_API int32_t NOVIKARM_WriteU64(uint32_t Addr, uint64_t Data);
// Bytes written up to the first failing item, negative when there is no connection.
NOVIK_API int32_t NOVIKARM_WriteMemEx(uint32_t Addr, uint32_t NumBytes, const void* pData, int32_t AccessWidth);
// Bytes written, negative when there is no connection.
NOVIK_API int32_t NOVIKARM_WriteMem(uint32_t Addr, uint32_t NumBytes, const void* pData);
// From here on writes to flash are held back, so that it is programmed as a whole. Called with 0.
NOVIK_API void NOVIKARM_BeginDownload(uint32_t Flags);
// Performs what was held back. NOVIK_DL_*: not negative on success.
NOVIK_API int32_t NOVIKARM_EndDownload(void);

// ---------------------------------------------------------------------------------------------------------------
// Registers. The target must be halted.
// ---------------------------------------------------------------------------------------------------------------

// Value of the register, 0 on failure.
NOVIK_API uint32_t NOVIKARM_ReadReg(uint32_t Index);
// pStatus gets 0 for each value that was read. Result 0 unless nothing can be read at all.
NOVIK_API int32_t NOVIKARM_ReadRegs(const uint32_t* pIndices, uint32_t* pValues, uint8_t* pStatus, uint32_t Count);
NOVIK_API uint8_t NOVIKARM_WriteReg(uint32_t Index, uint32_t Value);
// Coprocessor 15: CRn, Op1, CRm, Op2.
NOVIK_API int32_t NOVIKARM_CP15_ReadEx(uint8_t CRn, uint8_t Op1, uint8_t CRm, uint8_t Op2, uint32_t* pOut);
NOVIK_API int32_t NOVIKARM_CP15_WriteEx(uint8_t CRn, uint8_t Op1, uint8_t CRm, uint8_t Op2, uint32_t Value);

// ---------------------------------------------------------------------------------------------------------------
// Breakpoints and watchpoints
// ---------------------------------------------------------------------------------------------------------------

// TypeFlags: NOVIK_BP_TYPE_* | NOVIK_BP_MODE_*. Result: a handle, 0 on failure.
NOVIK_API uint32_t NOVIKARM_SetBPEx(uint32_t Addr, uint32_t TypeFlags);
// Handle, or NOVIK_HANDLE_ALL.
NOVIK_API int32_t NOVIKARM_ClrBPEx(uint32_t Handle);
// Index -1 with a null record or Handle 0: number of breakpoints. Index -1 with a Handle: fills the record of that
// handle. Index n: fills the n-th. Result: the number of breakpoints, negative if there is no such breakpoint.
NOVIK_API int32_t NOVIKARM_GetBPInfoEx(int32_t Index, NOVIKARM_BP_INFO* pInfo);
// Negative on failure: NOVIK_EVENT_ERR_*.
NOVIK_API int32_t NOVIKARM_SetDataEvent(const NOVIKARM_DATA_EVENT* pEvent, uint32_t* pHandle);
// Handle, or NOVIK_HANDLE_ALL.
NOVIK_API int32_t NOVIKARM_ClrDataEvent(uint32_t Handle);
// Index -1: number of watchpoints; index n: fills the n-th. Result as of NOVIKARM_GetBPInfoEx.
NOVIK_API int32_t NOVIKARM_GetWPInfoEx(int32_t Index, NOVIKARM_WP_INFO* pInfo);

// ---------------------------------------------------------------------------------------------------------------
// Data streams
// ---------------------------------------------------------------------------------------------------------------

// NOVIK_RTT_CMD_*, null.
NOVIK_API int32_t NOVIK_RTTERMINAL_Control(uint32_t Cmd, void* pParam);
// Bytes read, negative on failure. Never blocks.
NOVIK_API int32_t NOVIK_RTTERMINAL_Read(uint32_t BufferIndex, char* pData, uint32_t NumBytes);
// Bytes written, negative on failure. Never blocks.
NOVIK_API int32_t NOVIK_RTTERMINAL_Write(uint32_t BufferIndex, const char* pData, uint32_t NumBytes);
// Starts sampling up to NOVIK_HSS_MAX_BLOCKS blocks each Period microseconds of target time (0: as fast as
// possible). Result: NOVIK_HSS_*.
NOVIK_API int32_t NOVIK_HSS_Start(const NOVIK_HSS_MEM_BLOCK* pBlocks, int32_t Count, int32_t Period, int32_t Flags);
NOVIK_API int32_t NOVIK_HSS_Stop(void);
// Whole samples, oldest first: a u32 time stamp in microseconds, then the data of the blocks in order. Bytes read,
// negative on failure.
NOVIK_API int32_t NOVIK_HSS_Read(void* pData, uint32_t NumBytes);
// Sets up the target's trace unit and starts capture. Negative on failure.
NOVIK_API int32_t NOVIKARM_SWO_EnableTarget(uint32_t CpuHz, uint32_t SwoHz, int32_t Mode, uint32_t PortMask);
// Negative on failure. NOVIK_HANDLE_ALL for all ports.
NOVIK_API int32_t NOVIKARM_SWO_DisableTarget(uint32_t PortMask);
// NOVIK_SWO_CMD_FLUSH drops *pNumBytes captured bytes, all with a null pointer. Negative on failure.
NOVIK_API int32_t NOVIKARM_SWO_Control(uint32_t Cmd, uint32_t* pNumBytes);
// Bytes read; reading does not consume.
NOVIK_API int32_t NOVIKARM_SWO_ReadStimulus(uint32_t Port, uint8_t* pData, uint32_t NumBytes);
// Number of speeds written to pSpeeds, fastest first; the first is the one used when no speed is given.
NOVIK_API int32_t NOVIKARM_SWO_GetCompatibleSpeeds(uint32_t CpuHz, uint32_t MaxSpeed, uint32_t* pSpeeds,
                                                   uint32_t Count);
// CPU speed in Hz, measured by a short program in target RAM; 0 or negative on failure: not halted, RAMAddr not in
// RAM. Called with RAMAddr, 1, 1.
NOVIK_API int32_t NOVIKARM_MeasureCPUSpeedEx(uint32_t RAMAddr, int32_t PreserveMem, int32_t AllowFail);
// "PortWidth=%d".
NOVIK_API void NOVIK_STRACE_Config(const char* sConfig);
// Negative on failure.
NOVIK_API int32_t NOVIK_STRACE_Start(void);
// Negative on failure.
NOVIK_API int32_t NOVIK_STRACE_Stop(void);
// Addresses of the executed instructions, newest first. Number read, negative on failure. The target must be halted.
NOVIK_API int32_t NOVIK_STRACE_Read(uint32_t* pAddrs, uint32_t Count);
// Execution statistics of m = Count / 2 - 1 halfwords from Addr on: items 0 to m-1 their fetch counts, item m the
// fetch count of the whole program, items m+1 to 2m their skip counts (fetched, but the condition failed), item 2m+1
// the skip count of the whole program. Number of items filled, negative on failure. Called with ItemSize 8, Flags 9.
NOVIK_API int32_t NOVIK_STRACE_GetInstStats(NOVIK_STRACE_INST_STAT* pOut, uint32_t Addr, uint32_t Count,
                                            uint32_t ItemSize, uint32_t Flags);

#ifdef __cplusplus
}
#endif
