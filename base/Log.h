#pragma once

// Messages of the program and their ways: the program log, the text console of debug mode, the console ring. Any thread
// may write.

#include "base/Types.h"

#include <QString>

/// Bit set that travels with each log message.
enum MSG_INFO_FLAGS : U32 {
    MSG_INFO = 0x001,
    MSG_WARNING = 0x002,
    MSG_ERROR = 0x004,
    MSG_TO_TEXT_CONSOLE = 0x008,
    MSG_TO_LOG = 0x010,
    MSG_TO_CONSOLE = 0x020,
    MSG_TO_ALL = 0x040,
    MSG_FROM_QT = 0x080,
    MSG_FROM_ELF = 0x100,
    MSG_FROM_NOVIK = 0x200,
    MSG_FROM_DEVICE = 0x800,
};

/// Writes one message to the destinations that `Flags` names. Any thread; serialised by a mutex. Returns 0, or
/// -1 for a null or empty text. The text is cut at 2047 bytes. A program log that can't be written ends, which the
/// console tells.
int LogMessage(const char* sText, U32 Flags);

/// True if messages of debug and warning level have a reader: a program log is open or debug mode is on.
bool IsVerboseLogging();

/// Text console of debug mode on or off; the log file's name and flush threshold in bytes (512 if not positive).
/// Main thread, at start.
void SetLogDebugMode(bool IsOn);
/// Empty, or why the log can't be opened.
QString OpenProgramLog(const QString& sPath, int FlushThreshold);
void CloseProgramLog();

/// Forwards Qt's own messages to LogMessage().
void InstallQtMessageHandler();
