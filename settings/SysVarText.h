#pragma once

#include "settings/SysVarRows.h"

/// The operations of a kind of value.
const SYS_VAR_TYPE* GetSysVarType(SYS_VAR_KIND Kind);

/// Text to value: display names ignoring case, integers in any C base, speeds; a selection takes only numbers of its
/// list, a range only numbers within it.
I32 ParseSysVarText(const SYS_VAR* pVar, const QString& sText, bool* pOk);

/// Limits of a range row. False for a selection.
bool GetSysVarLimits(const SYS_VAR* pVar, I64* pMin, I64* pMax);
