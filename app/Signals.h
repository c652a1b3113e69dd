#pragma once

class CMainWindow;

/// SIGINT, SIGTERM and SIGHUP end the program as a closed window does, without a question: settings and layout are
/// saved, the exit code is 128 and the signal's number. What isn't done after 2 s is left; a second signal ends at
/// once.
void InstallSignalHandlers(CMainWindow& MainWindow);
