#include "app/Menus.h"

#include "app/MainWindow.h"
#include "app/MenuTable.h"
#include "app/RecentProjects.h"
#include "app/WindowTable.h"
#include "app/dialogs/CommandPalette.h"
#include "command/CommandTable.h"

#include <QMenu>
#include <QMenuBar>

namespace {

void ShowCommandPalette(CMainWindow& MainWindow) {
    auto* pPalette = new CCommandPalette(&MainWindow);
    pPalette->setAttribute(Qt::WA_DeleteOnClose);
    pPalette->open();
}

void AddCommand(QMenu* pMenu, unsigned CommandId) {
    if (QAction* pAction = CCommandTable::GetAction(CommandId)) {
        pMenu->addAction(pAction);
    }
}

void AddItem(CMainWindow& MainWindow, QMenu* pMenu, unsigned Item) {
    switch (Item) {
    case MENU_SEPARATOR:
        pMenu->addSeparator();
        break;
    case MENU_RECENT_PROJECTS:
        MainWindow.GetRecentProjects().SetMenu(pMenu->addMenu(QStringLiteral("Recent Projects")));
        break;
    case MENU_WINDOWS:
        for (const WINDOW_ROW& Row : GetWindowTable()) {
            AddCommand(pMenu, Row.ShowCommand);
        }
        break;
    case MENU_COMMAND_PALETTE:
        pMenu->addAction(QIcon(QStringLiteral(":/icons/magnifier.svg")), QStringLiteral("Find Command..."),
                         QKeySequence(QStringLiteral("Ctrl+Shift+A")), &MainWindow,
                         [&MainWindow] { ShowCommandPalette(MainWindow); });
        break;
    default:
        AddCommand(pMenu, Item);
        break;
    }
}

} // namespace

void CreateMenus(CMainWindow& MainWindow) {
    for (const MENU_ROW& Row : GetMenus()) {
        QMenu* pMenu = MainWindow.menuBar()->addMenu(QString::fromLatin1(Row.sTitle));
        pMenu->setToolTipsVisible(true);
        for (const unsigned Item : Row.Items) {
            AddItem(MainWindow, pMenu, Item);
        }
    }
}
