#pragma once

// The layout of the windows as text: the lines of the user file beside a project. No widgets; any thread.

#include "base/Types.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

/// Areas of a dock as the layout stores them; the first three are Qt's.
enum LAYOUT_AREA : int { AREA_NONE = 0, AREA_LEFT = 1, AREA_RIGHT = 2, AREA_BOTTOM = 8, AREA_FLOATING = 22 };

/// One dock window. Positions: of a floating window its frame on the screen, else within its dock area.
struct DOCK_LAYOUT {
    QString sName;
    int Area = AREA_NONE;
    int x = 0;
    int y = 0;
    int w = 0;
    int h = 0;
    int FilterBarShown = 0;
    int ExecCountersShown = 0;
};

struct TOOLBAR_LAYOUT {
    QString sName;
    int Floating = 0;
    int x = 0;
    int y = 0;
};

struct TABLE_LAYOUT {
    QString sWindow;
    QString sSortColumn; ///< empty: not sorted
    bool IsAscending = true;
    QStringList VisibleColumns;
    QList<int> ColumnWidths;
};

QString FormatLayout(const DOCK_LAYOUT& Dock);
QString FormatLayout(const TOOLBAR_LAYOUT& Toolbar);
QString FormatLayout(const TABLE_LAYOUT& Table);

/// "LEFT", "RIGHT", "BOTTOM", "FLOATING"; empty for none.
QString LayoutAreaName(int Area);
/// The area whose name the text contains, ignoring case: bottom, left, right, floating, in this order; else AREA_NONE.
int ParseLayoutArea(const QString& sText);

/// A dock's line; nothing for a line of another kind. What stands behind "//" or "#" outside quotes is no part of it.
/// A number that can't be read counts as 0.
std::optional<DOCK_LAYOUT> ParseDockLayout(const QString& sLine);
std::optional<TOOLBAR_LAYOUT> ParseToolbarLayout(const QString& sLine);
std::optional<TABLE_LAYOUT> ParseTableLayout(const QString& sLine);
