#pragma once

#include "command/CommandIds.h"

#include <span>

constexpr unsigned MENU_SEPARATOR = 0xFFFF;
constexpr unsigned MENU_RECENT_PROJECTS = 0xFFFE;
constexpr unsigned MENU_COMMAND_PALETTE = 0xFFFD;
constexpr unsigned MENU_WINDOWS = 0xFFFC; ///< the "show" command of each debug window, in the order of their table

/// One menu or tool bar: its title and its commands in order.
struct MENU_ROW {
    const char* sTitle;
    std::span<const unsigned> Items;
};

std::span<const MENU_ROW> GetMenus();
std::span<const MENU_ROW> GetToolbars();
/// Icon file of a command below ":/icons", null for none.
const char* GetCommandIcon(unsigned CommandId);
