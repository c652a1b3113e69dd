#pragma once

// The shared text table: symbolic values of command arguments, used by echoes, script constants and dialogs.
// Constant data; any thread.

#include "base/Types.h"

#include <QString>

struct TEXT_ROW {
    I32 Value;
    const char* sName;
    const char* sDisplayText;
};

constexpr int NUM_TEXT_ROWS = 126;

const TEXT_ROW* GetTextRow(int Index); ///< null if out of range

/// Row whose name (or second name) equals the text, ignoring case; null if none.
const TEXT_ROW* FindTextRow(const QString& sName);

/// Row of a group (name prefix such as "RM_") with that value; null if none.
const TEXT_ROW* FindTextRowByValue(const char* sPrefix, I64 Value);

/// Value of a name of the group, or of a number that a row of the group has. False if it is neither.
bool ParseTextValue(const char* sPrefix, const QString& sText, I32* pValue);

/// The second name of a row: "RM_BREAK_AT_MAIN" for "RM_BREAK_AT_SYMBOL", else empty.
QString GetTextRowAlias(const TEXT_ROW* pRow);

/// "on" words and numbers: 1, 0, or -1 if the text is neither a yes nor a no word.
int ParseOnOff(const QString& sText);
