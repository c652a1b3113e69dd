#pragma once

class CMainWindow;

/// Makes the menus of the table in the menu bar; the actions have to be linked by then.
void CreateMenus(CMainWindow& MainWindow);
