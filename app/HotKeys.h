#pragma once

class CMainWindow;
class QKeyEvent;

/// A key press that Qt has no shortcut for: the alternative hot keys of commands, and the ways back to the source
/// viewer (Esc, Shift+Alt+S). True if it was taken.
bool TakeAlternativeKey(CMainWindow& MainWindow, const QKeyEvent& Event);
