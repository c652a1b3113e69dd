#include "device/TraceConfig.h"

#include <algorithm>

QByteArray TraceSampleAdjustCommand(int Width, const std::array<I32, 4>& Delays) {
    const int NumLines = Width == 1 || Width == 2 ? Width : 4;
    QByteArray Text = "TraceSampleAdjust ";
    if (std::all_of(Delays.begin(), Delays.begin() + NumLines, [&](I32 Delay) { return Delay == Delays[0]; })) {
        return Text + "TD = " + QByteArray::number(Delays[0]);
    }
    for (int i = 0; i < NumLines; ++i) {
        Text += "TD" + QByteArray::number(i) + " = " + QByteArray::number(Delays[static_cast<size_t>(i)]);
        Text += i < 3 ? " " : "";
    }
    return Text;
}
