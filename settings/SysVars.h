#pragma once

// System variables (VAR_..., of a project) and user preferences (PREF_..., of a user): one table of 57 rows, known
// to the script language by name. Values are aligned 32-bit words, written on the main thread and read from any.

#include "base/Types.h"

#include <QString>
#include <QStringList>

enum SYS_VAR_ID : int {
    VAR_RESET_MODE,
    VAR_CONNECT_MODE,
    VAR_SEMIHOSTING_ENABLED,
    VAR_RTT_ENABLED,
    VAR_TIF_SPEED,
    VAR_TIF_SCAN_CHAIN_POS,
    VAR_TIF_SCAN_CHAIN_LEN,
    VAR_SWO_CPU_SPEED,
    VAR_SWO_SPEED,
    VAR_ACCESS_WIDTH,
    VAR_BREAKPOINT_TYPE,
    VAR_VERIFY_DOWNLOAD,
    VAR_BREAK_AT_THIS_SYMBOL,
    VAR_HSS_SPEED,
    VAR_TRACE_SOURCE,
    VAR_TRACE_PORT_WIDTH,
    VAR_TRACE_PORT_DELAY_0,
    VAR_TRACE_PORT_DELAY_1,
    VAR_TRACE_PORT_DELAY_2,
    VAR_TRACE_PORT_DELAY_3,
    VAR_TRACE_INIT_ON_ATTACH,
    VAR_ALLOW_DEBUG_MODIFIED_SRC,
    PREF_SHOW_LINE_NUMBERS,
    PREF_SHOW_EXPANSION_BAR,
    PREF_SHOW_SIDEBAR_SRC,
    PREF_SHOW_SIDEBAR_ASM,
    PREF_SHOW_SRC_CODE_PROFILE,
    PREF_SHOW_ASM_CODE_PROFILE,
    PREF_SHOW_SYMBOL_ICONS,
    PREF_INDENT_INLINE_ASSEMBLY,
    PREF_LINE_NUMBER_FREQ,
    PREF_LOCK_HEADER_BAR,
    PREF_SHOW_ASM_SOURCE,
    PREF_SHOW_ASM_LABELS,
    PREF_TAB_SPACING,
    PREF_START_WITH_MOST_RECENT_PROJ,
    PREF_PREPEND_FUNC_CLASS_NAMES,
    PREF_SHOW_PROGBAR_WHILE_RUNNING,
    PREF_SHOW_CHAR_TEXT,
    PREF_SHOW_SHORT_TEXT,
    PREF_SHOW_INT_TEXT,
    PREF_SHOW_CHAR_PTR_TEXT,
    PREF_SHOW_SHORT_PTR_TEXT,
    PREF_SHOW_INT_PTR_TEXT,
    PREF_DIALOG_SHOW_DNSA,
    PREF_SHOW_HEX_BLOCKS,
    PREF_SHOW_TOOLTIPS,
    PREF_FILTER_BARS_DISABLED,
    PREF_MAX_SYMBOL_MEMBERS,
    PREF_SHOW_ENCODINGS_ASM,
    PREF_SHOW_ENCODINGS_ITRACE,
    PREF_RESTRICT_SRC_EDIT,
    PREF_TERMINAL_EOL_FORMAT,
    PREF_TERMINAL_ECHO_INPUT,
    PREF_TERMINAL_ZERO_TERM_INPUT,
    PREF_TERMINAL_NO_CONTROL_CHARS,
    PREF_TERMINAL_CLEAR_ON_RESET,
    SYS_VAR_COUNT
};

struct SYS_VAR;

/// Kind of a row's value, with its three operations and its name.
struct SYS_VAR_TYPE {
    QString (*pfToText)(const SYS_VAR* pVar, I32 Value);
    int (*pfFromText)(const SYS_VAR* pVar, const QString& sText, QString* pError);
    int (*pfReserved)(const SYS_VAR* pVar); ///< 0 for every kind
    const char* sName;
};

struct SYS_VAR {
    const char* sName;
    const char* sDescription;
    const SYS_VAR_TYPE* pType;
    I32* pValue; ///< the value in force; for a text row the first bytes of its 100-byte buffer
    const I32* pDefault;
    I32* pStored;
    const char* sKey;
    const char* sSelection; ///< "name=number,..." or "SysVarMin=a,SysVarMax=b"
};

/// The three rows that live in the device configuration: interface speed in Hz, data bits and instruction bits
/// before the target on a scan chain. Must be called before InitSysVars().
void BindDeviceSysVars(I32* pSpeedHz, I32* pDrPre, I32* pIrPre);

/// Copies all defaults to values and stored copies and empties the set of explicit rows.
void InitSysVars();

/// Takes rows 0 to 21 back to their defaults, as a new project starts.
void ResetProjectSysVars();

const SYS_VAR* GetSysVar(int Index);             ///< null if out of range
const SYS_VAR* FindSysVar(const QString& sText); ///< by number (0 to 56), else by name ignoring case
int SysVarIndex(const SYS_VAR* pVar);            ///< row number, or -1
bool IsTextSysVar(const SYS_VAR* pVar);
bool IsSelectionSysVar(const SYS_VAR* pVar);

/// Value in force of a numeric row; any thread. A range error gives -1.
I32 SysVarValue(int Index);
/// Value in force of a text row. Main thread.
QString SysVarTextValue(int Index);

int SetSysVar(const SYS_VAR* pVar, I32 Value, bool AlsoStored);        ///< 0, or -1 for a text row or null
I32 ParseSysVar(const SYS_VAR* pVar, const QString& sText, bool* pOk); ///< doesn't store; marks the row as set
int SetSysVarText(const SYS_VAR* pVar, const QString& sText);          ///< text rows only; 0 or -1
QString SysVarText(const SYS_VAR* pVar, I64 Value = -1);               ///< value as text; -1: the one in force
QStringList SysVarNames(const SYS_VAR* pVar);
QList<I32> SysVarValues(const SYS_VAR* pVar);
QString SysVarRange(const SYS_VAR* pVar); ///< "lower - upper", or empty
bool IsSysVarSet(const SYS_VAR* pVar);

/// Speed texts such as "4 MHz", "auto", "adaptive", "100000 Hz" to Hz; 0 for auto, 65535 for adaptive, -1 if the
/// text is none.
I32 ParseSpeed(const QString& sText);
/// "auto" for 0; MHz for multiples of 1,000,000; kHz for multiples of 1,000 from 1,000 to 999,999; else Hz.
QString SpeedText(U32 SpeedHz);
