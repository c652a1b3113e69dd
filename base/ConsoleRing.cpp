#include "base/ConsoleRing.h"

#include "base/Utf8.h"

#include <atomic>
#include <cstring>
#include <mutex>

namespace {

constexpr I32 COLOR_ID_LOGGING_ERROR = 28; ///< the row of COLOR_LOGGING_ERROR in the colour table

struct CONSOLE_RING {
    std::mutex WriteMutex; ///< the writers share one index
    CONSOLE_MSG aSlot[CONSOLE_RING_SIZE] = {};
    std::atomic<U8> aIsValid[CONSOLE_RING_SIZE] = {}; ///< the hand-over; CONSOLE_MSG::IsValid is its copy
    U32 WriteIndex = 0;
    U32 ReadIndex = 0;
    std::atomic<U64> NumDropped{0};
};

CONSOLE_RING& GetRing() {
    static CONSOLE_RING Ring;
    return Ring;
}

void Put(const QString& sText, U32 Color, I32 ColorId, bool IsFixedFont, bool IsNewLine) {
    if (sText.isEmpty()) {
        return;
    }
    const QByteArray Text = sText.toUtf8();
    CONSOLE_RING& Ring = GetRing();
    const std::lock_guard Lock(Ring.WriteMutex);
    const U32 Index = Ring.WriteIndex;
    if (Ring.aIsValid[Index].load(std::memory_order_acquire) != 0) {
        ++Ring.NumDropped;
        return;
    }
    CONSOLE_MSG& Msg = Ring.aSlot[Index];
    const qsizetype Length = FittingUtf8Length(Text, CONSOLE_TEXT_SIZE);
    std::memcpy(Msg.sText, Text.constData(), static_cast<size_t>(Length));
    Msg.sText[Length] = '\0';
    Msg.IsValid = 1;
    Msg.IsNewLine = IsNewLine;
    Msg.IsFixedFont = IsFixedFont;
    Msg.Color = Color;
    Msg.ColorId = ColorId;
    Ring.WriteIndex = (Index + 1) % CONSOLE_RING_SIZE;
    Ring.aIsValid[Index].store(1, std::memory_order_release);
}

} // namespace

void ConsolePrint(const QString& sText, const QColor& Color, bool IsFixedFont) {
    Put(sText, Color.rgba(), -1, IsFixedFont, true);
}

void ConsolePrintColorId(const QString& sText, I32 ColorId, bool IsFixedFont, bool IsNewLine) {
    Put(sText, 0, ColorId, IsFixedFont, IsNewLine);
}

void ConsolePrintList(const QStringList& Lines, const QColor& Color) {
    for (const QString& sLine : Lines) {
        ConsolePrint(sLine, Color, true);
    }
}

void ConsolePrintError(const QString& sText) { ConsolePrintColorId(sText, COLOR_ID_LOGGING_ERROR); }

bool ConsoleTake(CONSOLE_MSG* pOut) {
    CONSOLE_RING& Ring = GetRing();
    const U32 Index = Ring.ReadIndex;
    if (Ring.aIsValid[Index].load(std::memory_order_acquire) == 0) {
        return false;
    }
    *pOut = Ring.aSlot[Index];
    Ring.ReadIndex = (Index + 1) % CONSOLE_RING_SIZE;
    Ring.aIsValid[Index].store(0, std::memory_order_release);
    return true;
}

U64 ConsoleDropCount() { return GetRing().NumDropped; }
