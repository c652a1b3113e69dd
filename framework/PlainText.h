#pragma once

// Texts from files, symbols and paths on their way into widgets that would read more into them. Any thread.

#include <QString>

/// The text as a tool tip that shows it letter by letter: Qt takes a tip with tags for HTML.
QString ToPlainToolTip(const QString& sText);
/// The text for a tab, a menu entry or a button, where "&" marks a letter.
QString EscapeMnemonic(const QString& sText);
/// The text for a window title, where "[*]" marks a place.
QString EscapeTitle(const QString& sText);
