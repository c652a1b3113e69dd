#pragma once

// The colour table: 46 colours, each with its value in force. Two marker values stand for colours of the palette and
// are resolved when a colour is used. Main thread.

#include "base/Types.h"

#include <QColor>
#include <QString>

enum COLOR_ID : int {
    COLOR_HIGHLIGHT_DARK = 0,
    COLOR_HIGHLIGHT_LIGHT,
    COLOR_CHANGE_LEVEL_1_BG,
    COLOR_CHANGE_LEVEL_2_BG,
    COLOR_CHANGE_LEVEL_3_BG,
    COLOR_CHANGE_LEVEL_1_FG,
    COLOR_CHANGE_LEVEL_2_FG,
    COLOR_CHANGE_LEVEL_3_FG,
    COLOR_PC_ACTIVE,
    COLOR_PC_INACTIVE,
    COLOR_PC_BACKTRACE,
    COLOR_CALL_SITE_ACTIVE,
    COLOR_CALL_SITE_INACTIVE,
    COLOR_TABLE_GRID_LINES,
    COLOR_SYNTAX_REGNAME,
    COLOR_SYNTAX_LABEL,
    COLOR_SYNTAX_MNEMONIC,
    COLOR_SYNTAX_IMMEDIATE,
    COLOR_SYNTAX_INTEGER,
    COLOR_SYNTAX_KEYWORD,
    COLOR_SYNTAX_DIRECTIVE,
    COLOR_SYNTAX_STRING,
    COLOR_SYNTAX_COMMENT,
    COLOR_SYNTAX_TEXT,
    COLOR_LINE_NUMBERS,
    COLOR_LINE_NUMBER_SEPARATOR,
    COLOR_LOGGING_SCRIPT,
    COLOR_LOGGING_USER,
    COLOR_LOGGING_ERROR,
    COLOR_LOGGING_NOVIK,
    COLOR_PROGRESS_BAR_PROGRESS,
    COLOR_PROGRESS_BAR_REMAINING,
    COLOR_SYMBOL_GLOBAL_VAR,
    COLOR_SYMBOL_LOCAL_VAR,
    COLOR_SYMBOL_CONSTANT,
    COLOR_SYMBOL_MEMBER,
    COLOR_SYMBOL_FUNCTION,
    COLOR_ASM_LABEL_BACKG,
    COLOR_CALL_GRAPH_NODE_ACTIVE,
    COLOR_CALL_GRAPH_NODE_INACTIVE,
    COLOR_TABLE_ITEM_INACTIVE,
    COLOR_EXEC_PROFILE_GOOD_INSTR,
    COLOR_EXEC_PROFILE_BAD_INSTR,
    COLOR_INLINE_ASM_BACKG,
    COLOR_INLINE_ASM_BACKG_ALTERNATE,
    COLOR_TABLE_FILTER_MATCH,
    NUM_COLORS
};

constexpr U32 COLOR_MARK_BASE = 0xFF000001;   ///< the palette's base colour
constexpr U32 COLOR_MARK_WINDOW = 0xFF000002; ///< the palette's window colour

struct COLOR_ROW {
    U32 Id;
    U32 Default; ///< ARGB, or a marker
    U32 Dark;    ///< what the default is painted as on a dark palette: ARGB, or a marker
    const char* sName;
    const char* sLabel;
    const char* sToolTip;
};

extern const COLOR_ROW aColorRow[NUM_COLORS];

/// Takes all colours to their defaults.
void InitColors();
/// Id by number or COLOR_ name, ignoring case; -1 if none.
int FindColor(const QString& sText);
/// ARGB value in force, which may be a marker; 0 for an id out of range.
U32 GetColorValue(int Id);
void SetColorValue(int Id, U32 Argb);
/// Colour to paint with: markers resolved to the palette; invalid for an id out of range. A colour at its default has
/// a form of its own on a dark palette; one that was set is painted as it was set.
QColor GetColor(int Id);
/// What a value of the colour is painted as, whether it is in force or not; the id must be in range.
QColor ResolveColor(int Id, U32 Value);
/// True if the application's palette is light text on dark.
bool IsPaletteDark();
/// A colour name or "#RRGGBB", or a number taken as RGBA. False if the text is neither.
bool ParseColor(const QString& sText, U32* pArgb);
