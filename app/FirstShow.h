#pragma once

class CMainWindow;

/// First thing after the first paint of the main window: what the command line, the recent projects or the user want.
void OnFirstShow(CMainWindow& MainWindow);
