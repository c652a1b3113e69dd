#include "app/MenuTable.h"

#include "app/WindowTable.h"

namespace {

constexpr unsigned aFile[] = {CMD_FILE_NEW_PROJECT,
                              CMD_FILE_NEW_PROJECT_WIZARD,
                              CMD_FILE_OPEN,
                              MENU_SEPARATOR,
                              CMD_FILE_SAVE_PROJECT_AS,
                              CMD_FILE_SAVE_ALL,
                              MENU_SEPARATOR,
                              CMD_FILE_CLOSE,
                              CMD_FILE_CLOSE_ALL,
                              CMD_FILE_CLOSE_ALL_BUT_THIS,
                              MENU_SEPARATOR,
                              MENU_RECENT_PROJECTS,
                              MENU_SEPARATOR,
                              CMD_FILE_EXIT};
constexpr unsigned aEdit[] = {MENU_COMMAND_PALETTE, MENU_SEPARATOR, CMD_EDIT_NOVIK_SETTINGS, CMD_EDIT_TRACE_SETTINGS,
                              CMD_EDIT_SYS_VARS,    MENU_SEPARATOR, CMD_EDIT_PREFERENCES};
constexpr unsigned aView[] = {CMD_SRC_VIEW_PC,        CMD_SRC_VIEW_LINE,      MENU_SEPARATOR,
                              MENU_WINDOWS,           MENU_SEPARATOR,         CMD_TOOLBAR_SHOW_FILE,
                              CMD_TOOLBAR_SHOW_DEBUG, CMD_TOOLBAR_SHOW_VIEWS, CMD_TOOLBAR_SHOW_BREAKPOINTS};
constexpr unsigned aDebug[] = {
    CMD_DEBUG_START,     CMD_DEBUG_STOP,     MENU_SEPARATOR,        CMD_DEBUG_CONTINUE,
    CMD_DEBUG_HALT,      CMD_DEBUG_RESET,    MENU_SEPARATOR,        CMD_DEBUG_STEP_INTO,
    CMD_DEBUG_STEP_OVER, CMD_DEBUG_STEP_OUT, CMD_SRC_RUN_TO_CURSOR, CMD_SRC_SET_NEXT_STMNT,
    MENU_SEPARATOR,      CMD_DEBUG_DOWNLOAD, CMD_DEBUG_CONNECT,     CMD_DEBUG_DISCONNECT,
    MENU_SEPARATOR,      CMD_BP_SET,         CMD_BREAK_CLEAR_ALL,   CMD_BREAK_CLEAR_ALL_ON_DATA};
constexpr unsigned aHelp[] = {CMD_HELP_MANUAL, CMD_HELP_COMMANDS, MENU_SEPARATOR, CMD_HELP_ABOUT};
constexpr unsigned aFileBar[] = {CMD_FILE_NEW_PROJECT, CMD_FILE_OPEN, CMD_FILE_SAVE_ALL};
constexpr unsigned aDebugBar[] = {CMD_DEBUG_START,     CMD_DEBUG_STOP,    MENU_SEPARATOR, CMD_DEBUG_CONTINUE,
                                  CMD_DEBUG_HALT,      CMD_DEBUG_RESET,   MENU_SEPARATOR, CMD_DEBUG_STEP_INTO,
                                  CMD_DEBUG_STEP_OVER, CMD_DEBUG_STEP_OUT};

constexpr unsigned aViewsBar[] = {MENU_WINDOWS};
constexpr unsigned aBreakpointBar[] = {CMD_BP_SET, CMD_BREAK_CLEAR_ALL, CMD_BREAK_CLEAR_ALL_ON_DATA};

constexpr MENU_ROW aMenu[] = {
    {"&File", aFile}, {"&Edit", aEdit}, {"&View", aView}, {"&Debug", aDebug}, {"&Help", aHelp}};
constexpr MENU_ROW aToolbar[] = {
    {"File", aFileBar}, {"Debug", aDebugBar}, {"Views", aViewsBar}, {"Breakpoints", aBreakpointBar}};

struct ICON_ROW {
    unsigned Id;
    const char* sFile;
};

constexpr ICON_ROW aIcon[] = {
    {CMD_BP_SET, "breakpoint.svg"},
    {CMD_BREAK_CLEAR_ALL, "broom.svg"},
    {CMD_BREAK_CLEAR_ALL_ON_DATA, "broom-data.svg"},
    {CMD_FILE_NEW_PROJECT_WIZARD, "wand.svg"},
    {CMD_EDIT_PREFERENCES, "wrench.svg"},
    {CMD_FILE_NEW_PROJECT, "new-project.svg"},
    {CMD_FILE_OPEN, "open.svg"},
    {CMD_FILE_SAVE_ALL, "save.svg"},
    {CMD_DEBUG_START, "start.svg"},
    {CMD_DEBUG_STOP, "stop.svg"},
    {CMD_DEBUG_CONTINUE, "continue.svg"},
    {CMD_DEBUG_HALT, "halt.svg"},
    {CMD_DEBUG_RESET, "reset.svg"},
    {CMD_DEBUG_STEP_INTO, "step-into.svg"},
    {CMD_DEBUG_STEP_OVER, "step-over.svg"},
    {CMD_DEBUG_STEP_OUT, "step-out.svg"},
};

} // namespace

std::span<const MENU_ROW> GetMenus() { return aMenu; }
std::span<const MENU_ROW> GetToolbars() { return aToolbar; }

const char* GetCommandIcon(unsigned CommandId) {
    for (const WINDOW_ROW& Row : GetWindowTable()) {
        if (Row.ShowCommand == CommandId) {
            return Row.sIcon;
        }
    }
    for (const ICON_ROW& Row : aIcon) {
        if (Row.Id == CommandId) {
            return Row.sFile;
        }
    }
    return nullptr;
}
