#pragma once

// Docks of a main window as the lines of a layout, and back. Main thread.

#include <QList>
#include <QRect>
#include <QStringList>
#include <QtCore/qnamespace.h>

class CDockWindow;
class QMainWindow;

/// Qt's area for one of LAYOUT_AREA; the bottom for those that have none.
Qt::DockWidgetArea ToQtArea(int Area);

/// The frame as it fits into the available area of the screen at its centre, or of the first screen if its centre is on
/// none: never larger than that area, never partly outside.
QRect FitToScreens(const QRect& Frame);

/// A line for each dock that is shown, in the order of the list.
QStringList FormatDockLayouts(const QMainWindow& Window, const QList<CDockWindow*>& Docks);
/// Arranges the docks as the lines say and hides those without a line; without a line for any of them nothing changes.
void ApplyDockLayouts(QMainWindow* pWindow, const QList<CDockWindow*>& Docks, const QStringList& Lines);
