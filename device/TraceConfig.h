#pragma once

// Texts that set up the trace port of the probe. Any thread.

#include "base/Types.h"

#include <QByteArray>
#include <array>

/// The probe library's command for the delays of the data lines, in picoseconds. Width is the port's in bits: 1 uses
/// line 0, 2 lines 0 and 1, any other all four. Lines that are in use and have one delay share one entry.
QByteArray TraceSampleAdjustCommand(int Width, const std::array<I32, 4>& Delays);
