#pragma once

// The console ring: 1000 fixed-size records between any number of writing threads and one reader, the console
// window's timer on the main thread. A writer fills its slot first and sets IsValid last; the reader clears
// IsValid last. A full ring drops the message.

#include "base/Types.h"

#include <QColor>
#include <QString>
#include <QStringList>

constexpr U32 CONSOLE_RING_SIZE = 1000;
constexpr U32 CONSOLE_TEXT_SIZE = 1000;

struct CONSOLE_MSG {
    U8 IsValid;
    U8 IsNewLine;
    U8 IsFixedFont;
    char sText[CONSOLE_TEXT_SIZE + 1];
    U32 Color;   ///< RGB value; 0 alpha (Qt::transparent) stands for the default text colour
    I32 ColorId; ///< colour table id, or -1 to use Color; above 45 the default text colour
};

/// Puts one record into the ring. Any thread. An empty text puts nothing.
void ConsolePrint(const QString& sText, const QColor& Color = Qt::transparent, bool IsFixedFont = false);

/// As ConsolePrint, with a colour of the colour table.
void ConsolePrintColorId(const QString& sText, I32 ColorId, bool IsFixedFont = false, bool IsNewLine = true);

/// Prints each line, in the fixed font.
void ConsolePrintList(const QStringList& Lines, const QColor& Color = Qt::transparent);

/// Prints in COLOR_LOGGING_ERROR.
void ConsolePrintError(const QString& sText);

/// Takes the oldest record. Main thread. False if the ring is empty.
bool ConsoleTake(CONSOLE_MSG* pOut);

/// Number of messages dropped because the ring was full, since the start.
U64 ConsoleDropCount();
