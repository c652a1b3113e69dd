#pragma once

// The console ring: messages on their way from any number of writing threads to one reader, the console window on the
// main thread. It is bounded: while it is full, messages are dropped, and the reader is told how many. Errors are not
// among them; what is dropped still reaches the console log.

#include "base/Types.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

constexpr U32 CONSOLE_RING_SIZE = 20'000;   ///< messages that may wait; errors don't count
constexpr U32 CONSOLE_MAX_ERRORS = 100'000; ///< errors that may wait: as many as the console shows
constexpr U32 CONSOLE_TEXT_SIZE = 1000;     ///< bytes of a message that are shown

/// What a message is; the console window gives each its colour.
enum CONSOLE_CLASS : U8 {
    CC_TEXT,
    CC_SCRIPT, ///< output of the project's script
    CC_USER,   ///< echo of a command
    CC_NOVIK,  ///< of the probe library
    CC_ERROR,  ///< never dropped
};

struct CONSOLE_MSG {
    QByteArray sText; ///< UTF-8, at most CONSOLE_TEXT_SIZE bytes
    CONSOLE_CLASS Class = CC_TEXT;
    bool IsNewLine = true; ///< begins a new paragraph
    bool IsFixedFont = false;
};

/// Puts one message into the ring and the console log. Any thread. An empty text puts nothing.
void ConsolePrint(const QString& sText, CONSOLE_CLASS Class = CC_TEXT, bool IsFixedFont = false, bool IsNewLine = true);

/// Prints each line, in the fixed font.
void ConsolePrintList(const QStringList& Lines, CONSOLE_CLASS Class = CC_TEXT);

/// Prints an error.
void ConsolePrintError(const QString& sText);

/// Takes the oldest message. Behind those in front of which some were dropped "n messages dropped" comes. Main thread.
/// False if the ring is empty.
bool ConsoleTake(CONSOLE_MSG* pOut);

/// Number of messages printed since the start, echoes of commands left out. Any thread.
U64 ConsolePrintCount();

/// Number of messages dropped because the ring was full, since the start.
U64 ConsoleDropCount();

/// Opens the console log on the path, truncated, with what waits in the ring as its first lines, and closes the one
/// before; an empty path only closes. Empty, or why it can't be opened. Main thread.
QString ConsoleOpenLog(const QString& sPath);

/// What empties the ring when the main thread itself fills it; null for none. Main thread.
void ConsoleSetReader(void (*pfDrain)());
