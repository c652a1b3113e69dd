#pragma once

// The console log, a file that has every line of the console: written by the threads that print, so that it misses
// none when the window can't keep up.

#include <QString>

/// Opens the log on the path, truncated, and closes the one before; an empty path only closes. Empty, or why it can't
/// be opened. Main thread.
QString OpenConsoleLog(const QString& sPath);

/// Writes out what waits, and closes. Empty, or why lines are missing.
QString CloseConsoleLog();

/// Appends text, with a newline if `IsNewLine`; does nothing while the log is closed. Any thread. A failed write ends
/// the log: its reason is returned once, else an empty text.
QString WriteConsoleLog(const QString& sText, bool IsNewLine);

/// Writes out what waits. Any thread. As WriteConsoleLog().
QString FlushConsoleLog();
