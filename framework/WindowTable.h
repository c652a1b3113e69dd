#pragma once

// What a debug window is to the rest of the program: one row of one table. Creating, showing, clearing, layout, menus
// and tool bars walk the rows, in their order; events reach the windows in that order, too.

#include "base/Types.h"
#include "framework/LayoutText.h"

class CWindow;
class QWidget;

struct WINDOW_ROW {
    CWindow* (*pfCreate)(QWidget* pParent); ///< the window knows its name
    LAYOUT_AREA Area;                       ///< where its dock stands at first; AREA_NONE: the central widget, no dock
    U32 ShowCommand;                        ///< its "show" row of the command table, with hot key and help texts
    const char* sIcon;                      ///< below ":/icons", of the "show" command; null for none
    bool IsShown;                           ///< in the layout of a first start
};

constexpr U32 NO_SHOW_COMMAND = 0xFFFF; ///< for a window that can't be closed

/// A window's row: CreateWindow<CConsoleWindow>.
template <class WINDOW> CWindow* CreateWindow(QWidget* pParent) { return new WINDOW(pParent); }
