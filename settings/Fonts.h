#pragma once

// The font table: 11 fonts. A font without an entry of its own follows its default at every read, so a change of the
// application font shows in all that follow it. Main thread.

#include <QFont>
#include <QString>

enum FONT_ID : int {
    FONT_APP = 0,
    FONT_APP_MONO,
    FONT_ITEM_NAME,
    FONT_ITEM_VALUE,
    FONT_TABLE_HEADER,
    FONT_SRC_CODE,
    FONT_SRC_ASM_CODE,
    FONT_ASM_CODE,
    FONT_CONSOLE,
    FONT_LINE_NUMBERS,
    FONT_EXEC_COUNTERS,
    NUM_FONTS
};

struct FONT_ROW {
    const char* sName;
    const char* sLabel;
    const char* sToolTip;
    int Id;
    int DefaultId; ///< font that this one follows; -1: the application font as built at start
};

extern const FONT_ROW aFontRow[NUM_FONTS];

int FindFont(const QString& sText); ///< by number or FONT_ name, ignoring case; -1 if none
QFont GetFont(int Id);
/// With `IsPersistent` the font also goes to the settings store at exit.
void SetFont(int Id, const QFont& Font, bool IsPersistent);
/// True if the font has an entry of its own.
bool IsFontSet(int Id);
/// Forgets a font's entry, in the settings too: it follows its default again.
void ForgetFont(int Id);
/// What the font is without an entry of its own.
QFont GetDefaultFont(int Id);
/// Forgets all entries.
void InitFonts();

/// "Courier New,  10pt,  Bold".
QString FontText(const QFont& Font);
bool ParseFont(const QString& sText, QFont* pFont);

/// The font itself if its family counts as fixed-pitch, else a fixed-pitch font of its size.
QFont GetFixedPitchFont(const QFont& Font);

void SaveColorsAndFonts();
void LoadColorsAndFonts();
