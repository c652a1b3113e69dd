#include "app/WindowTable.h"

#include "app/ConsoleWindow.h"
#include "command/CommandIds.h"
#include "views/SourceFilesWindow.h"
#include "views/SourceWindow.h"

namespace {

constexpr WINDOW_ROW aWindow[] = {
    {CreateWindow<CSourceFilesWindow>, AREA_RIGHT, CMD_WINDOW_SHOW_SRC_FILES, "source-files.svg", false},
    {CreateWindow<CSourceWindow>, AREA_NONE, NO_SHOW_COMMAND, nullptr, true},
    {CreateWindow<CConsoleWindow>, AREA_BOTTOM, CMD_WINDOW_SHOW_CONSOLE, "console.svg", true},
};

} // namespace

std::span<const WINDOW_ROW> GetWindowTable() { return aWindow; }
