#pragma once

#include "framework/WindowTable.h"

#include <span>

/// All debug windows of the main window, in the order in which they are made and told of events.
std::span<const WINDOW_ROW> GetWindowTable();
