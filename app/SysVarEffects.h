#pragma once

#include "base/Types.h"

class CMainWindow;

/// Does what follows from a new value of a system variable. Main thread.
void ApplySysVar(CMainWindow& MainWindow, int Index, I32 Value);
