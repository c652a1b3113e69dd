#include "app/HotKeys.h"

#include "app/AccessWaits.h"
#include "app/ConsoleOutput.h"
#include "app/MainWindow.h"
#include "app/ScriptProgress.h"
#include "app/StatusBar.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "views/SourceWindow.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

namespace {

bool HasSelectedText(const QWidget* pWidget) {
    const auto* pLine = qobject_cast<const QLineEdit*>(pWidget);
    const auto* pText = qobject_cast<const CConsoleOutput*>(pWidget);
    return (pLine != nullptr && pLine->hasSelectedText()) || (pText != nullptr && pText->HasSelection());
}

/// True if the nearest window above the action is the main window, the source viewer, or one that holds the focus.
bool MayTakeKey(const QAction* pAction, const QMainWindow* pMain, const QMainWindow* pSource) {
    const QObject* pObject = pAction;
    while (pObject != nullptr && qobject_cast<const QMainWindow*>(pObject) == nullptr) {
        pObject = pObject->parent();
    }
    const auto* pWindow = qobject_cast<const QMainWindow*>(pObject);
    return pWindow != nullptr &&
           (pWindow == pMain || pWindow == pSource || pWindow->isAncestorOf(QApplication::focusWidget()));
}

bool CancelShownTransfer(CMainWindow& MainWindow) {
    return MainWindow.GetStatusBar().IsProgressVisible() && CDevice::Get().CancelTransfer();
}

} // namespace

bool TakeAlternativeKey(CMainWindow& MainWindow, const QKeyEvent& Event) {
    const QString sKey = QKeySequence(Event.keyCombination()).toString(QKeySequence::PortableText);
    if (sKey == QLatin1String("Esc") && QApplication::activePopupWidget() == nullptr &&
        QApplication::activeModalWidget() == nullptr &&
        (MainWindow.GetScriptProgress().StopShown() || CancelAccess() || CancelShownTransfer(MainWindow))) {
        return true;
    }
    if (sKey == QLatin1String("Shift+Alt+S") || sKey == QLatin1String("Alt+Shift+S") ||
        (sKey == QLatin1String("Esc") && QApplication::activeWindow() == &MainWindow &&
         QApplication::activePopupWidget() == nullptr && QApplication::activeModalWidget() == nullptr &&
         !HasSelectedText(QApplication::focusWidget()))) {
        MainWindow.GetSourceWindow().setFocus();
        return true;
    }
    for (const U32 Id : CCommandTable::FindByAlternativeKey(sKey)) {
        if (MayTakeKey(CCommandTable::GetAction(Id), &MainWindow, &MainWindow.GetSourceWindow())) {
            CCommandTable::Trigger(Id);
            return true;
        }
    }
    return false;
}
