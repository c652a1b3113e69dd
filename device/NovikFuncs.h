#pragma once

// The probe library as the device thread sees it: a table of its functions, filled by name from the library that
// lies beside the program. Tests fill the table with functions of their own.

#include "probe/novik.h"

#include <QString>

// clang-format off
#define NOVIK_FOR_EACH_FUNC(X) \
    X(NOVIKARM_GetDLLVersion) X(NOVIKARM_DEVICE_GetInfo) X(NOVIKARM_DEVICE_GetIndex) X(NOVIKARM_Core2CoreName) \
    X(NOVIK_GetpFunc) X(NOVIKARM_GetFirmwareString) X(NOVIKARM_GetSN) X(NOVIKARM_EMU_HasCapEx) \
    X(NOVIKARM_GetDebugInfo) X(NOVIKARM_RAWTRACE_Control) X(NOVIKARM_SelectUSB) X(NOVIKARM_EMU_SelectByUSBSN) \
    X(NOVIKARM_SelectIP) X(NOVIKARM_EnableLog) X(NOVIKARM_SetWarnOutHandler) X(NOVIKARM_SetErrorOutHandler) \
    X(NOVIKARM_SetLogFile) X(NOVIKARM_Open) X(NOVIKARM_IsOpen) X(NOVIKARM_Close) X(NOVIKARM_ExecCommand) \
    X(NOVIKARM_SetEndian) X(NOVIKARM_SetCoreIndex) X(NOVIKARM_TIF_Select) X(NOVIKARM_ConfigJTAG) \
    X(NOVIKARM_SetSpeed) X(NOVIKARM_GetSpeed) X(NOVIKARM_Connect) X(NOVIKARM_IsConnected) \
    X(NOVIKARM_EnableSoftBPs) X(NOVIKARM_IsHalted) X(NOVIKARM_Halt) X(NOVIKARM_GoEx) X(NOVIKARM_Step) \
    X(NOVIKARM_SetResetType) X(NOVIKARM_SetResetDelay) X(NOVIKARM_SetInitRegsOnReset) X(NOVIKARM_Reset) \
    X(NOVIKARM_ReadMemU8) X(NOVIKARM_ReadMemU16) X(NOVIKARM_ReadMemU32) X(NOVIKARM_ReadMemU64) \
    X(NOVIKARM_ReadMemHW) X(NOVIKARM_ReadMemEx) X(NOVIKARM_ReadMem) X(NOVIKARM_WriteU8) X(NOVIKARM_WriteU16) \
    X(NOVIKARM_WriteU32) X(NOVIKARM_WriteU64) X(NOVIKARM_WriteMemEx) X(NOVIKARM_WriteMem) \
    X(NOVIKARM_BeginDownload) X(NOVIKARM_EndDownload) X(NOVIKARM_ReadReg) X(NOVIKARM_ReadRegs) \
    X(NOVIKARM_WriteReg) X(NOVIKARM_CP15_ReadEx) X(NOVIKARM_CP15_WriteEx) X(NOVIKARM_SetBPEx) \
    X(NOVIKARM_ClrBPEx) X(NOVIKARM_GetBPInfoEx) X(NOVIKARM_SetDataEvent) X(NOVIKARM_ClrDataEvent) \
    X(NOVIKARM_GetWPInfoEx) X(NOVIK_RTTERMINAL_Control) X(NOVIK_RTTERMINAL_Read) X(NOVIK_RTTERMINAL_Write) \
    X(NOVIK_HSS_Start) X(NOVIK_HSS_Stop) X(NOVIK_HSS_Read) X(NOVIKARM_SWO_EnableTarget) \
    X(NOVIKARM_SWO_DisableTarget) X(NOVIKARM_SWO_Control) X(NOVIKARM_SWO_ReadStimulus) \
    X(NOVIKARM_SWO_GetCompatibleSpeeds) X(NOVIKARM_MeasureCPUSpeedEx) X(NOVIK_STRACE_Config) \
    X(NOVIK_STRACE_Start) X(NOVIK_STRACE_Stop) X(NOVIK_STRACE_Read) X(NOVIK_STRACE_GetInstStats)
// clang-format on

/// One member a function, named like it. A table is usable if sError is empty; then no member is null.
struct NOVIK_FUNCS {
#define NOVIK_MEMBER(Name) decltype(&::Name) Name = nullptr;
    NOVIK_FOR_EACH_FUNC(NOVIK_MEMBER)
#undef NOVIK_MEMBER
    QString sPath;  ///< the library file, with / as separator
    QString sError; ///< why the library can't be used
};

/// Loads the library from the program's directory once; it stays loaded until the process ends. Any thread.
const NOVIK_FUNCS& LoadNovikLibrary();

/// Fills a table from the library file at that path.
NOVIK_FUNCS LoadNovikFuncs(const QString& sPath);
