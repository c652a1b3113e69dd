#pragma once

// The user file beside a project: the layout of the windows, written when the project closes and applied when it opens.
// Main thread.

class CMainWindow;
class QString;

void WriteUserFile(CMainWindow& MainWindow, const QString& sProjectPath);
void LoadUserFile(CMainWindow& MainWindow, const QString& sProjectPath);
