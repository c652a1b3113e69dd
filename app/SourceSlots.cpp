#include "app/Location.h"
#include "app/MainWindow.h"
#include "app/Slots.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "views/SourceWindow.h"

#include <QInputDialog>

// The source viewer's own actions: each runs the command for the line of the cursor, so that the echo can be pasted.

namespace {

/// "file:line" of the cursor; empty without a document.
QString CursorLocation(CMainWindow& MainWindow) {
    const CSourceView* pView = MainWindow.GetSourceWindow().GetActiveView();
    return pView == nullptr ? QString()
                            : QStringLiteral("%1:%2").arg(pView->GetDocument().GetName()).arg(pView->GetCursorLine());
}

void RunAtCursor(CMainWindow& MainWindow, COMMAND_ID Id) {
    const QString sLocation = CursorLocation(MainWindow);
    if (!sLocation.isEmpty()) {
        CCommandTable::Execute(Id, {sLocation});
    }
}

void RunToCursor(CMainWindow& MainWindow) { RunAtCursor(MainWindow, CMD_DEBUG_RUN_TO); }
void SetNextStatement(CMainWindow& MainWindow) { RunAtCursor(MainWindow, CMD_DEBUG_SET_NEXT_STATEMENT); }
void ViewPC(CMainWindow&) { CCommandTable::Execute(CMD_VIEW_PC_LINE); }

void ViewLine(CMainWindow& MainWindow) {
    const CSourceView* pView = MainWindow.GetSourceWindow().GetActiveView();
    bool IsAccepted = false;
    if (pView == nullptr) {
        return;
    }
    const int Line =
        QInputDialog::getInt(&MainWindow, QStringLiteral("Go to Line"), QStringLiteral("Line:"), pView->GetCursorLine(),
                             1, qMax(1, pView->GetDocument().GetNumLines()), 1, &IsAccepted);
    if (IsAccepted) {
        CCommandTable::Execute(CMD_VIEW_LINE, {Line});
    }
}

void ToggleBreakpoint(CMainWindow& MainWindow) {
    const I64 Addr = ResolveLocation(CursorLocation(MainWindow));
    const bool IsSet = Addr >= 0 && CDevice::Get().GetBreakpoint(static_cast<U32>(Addr)).Valid != 0;
    RunAtCursor(MainWindow, IsSet ? CMD_BREAK_CLEAR_ON_SRC : CMD_BREAK_SET_ON_SRC);
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_SRC_RUN_TO_CURSOR, RunToCursor},
    {CMD_SRC_SET_NEXT_STMNT, SetNextStatement},
    {CMD_SRC_VIEW_PC, ViewPC},
    {CMD_SRC_VIEW_LINE, ViewLine},
    {CMD_BP_SET, ToggleBreakpoint},
};

} // namespace

std::span<const ACTION_SLOT> GetSourceSlots() { return aSlot; }
