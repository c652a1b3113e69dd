#pragma once

#include <QStringList>

/// Runs the program: builds the long-lived objects in their order, shows the main window, runs the event loop, and
/// writes the settings. Returns the exit code.
int RunApplication(int argc, char** argv);

/// The pieces of the start that a test needs as well: hooks of the command table and of the message sinks.
void InstallHooks();
