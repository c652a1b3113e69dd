#include "settings/Colors.h"

#include <QGuiApplication>
#include <QPalette>
#include <array>

namespace {

std::array<U32, NUM_COLORS> Defaults() {
    std::array<U32, NUM_COLORS> aValue{};
    for (const COLOR_ROW& Row : aColorRow) {
        aValue[Row.Id] = Row.Default;
    }
    return aValue;
}

std::array<U32, NUM_COLORS>& Values() {
    static std::array<U32, NUM_COLORS> aValue = Defaults();
    return aValue;
}

bool IsId(int Id) { return Id >= 0 && Id < NUM_COLORS; }

} // namespace

void InitColors() { Values() = Defaults(); }

int FindColor(const QString& sText) {
    bool IsNumber = false;
    const int Id = sText.trimmed().toInt(&IsNumber, 0);
    if (IsNumber) {
        return IsId(Id) ? Id : -1;
    }
    for (const COLOR_ROW& Row : aColorRow) {
        if (sText.trimmed().compare(QLatin1String(Row.sName), Qt::CaseInsensitive) == 0) {
            return static_cast<int>(Row.Id);
        }
    }
    return -1;
}

U32 GetColorValue(int Id) { return IsId(Id) ? Values()[static_cast<size_t>(Id)] : 0; }

void SetColorValue(int Id, U32 Argb) {
    if (IsId(Id)) {
        Values()[static_cast<size_t>(Id)] = Argb;
    }
}

QColor GetColor(int Id) { return IsId(Id) ? ResolveColor(Id, GetColorValue(Id)) : QColor(); }

QColor ResolveColor(int Id, U32 Value) {
    const COLOR_ROW& Row = aColorRow[Id];
    if (Value == Row.Default && IsPaletteDark()) {
        Value = Row.Dark;
    }
    if (Value == COLOR_MARK_BASE) {
        return QGuiApplication::palette().color(QPalette::Base);
    }
    if (Value == COLOR_MARK_WINDOW) {
        return QGuiApplication::palette().color(QPalette::Window);
    }
    return QColor::fromRgba(Value);
}

bool IsPaletteDark() {
    const QPalette Palette = QGuiApplication::palette();
    return Palette.color(QPalette::WindowText).lightness() > Palette.color(QPalette::Window).lightness();
}

bool ParseColor(const QString& sText, U32* pArgb) {
    const QString sTrimmed = sText.trimmed();
    if (QColor::isValidColor(sTrimmed)) {
        *pArgb = QColor(sTrimmed).rgba();
        return true;
    }
    bool IsNumber = false;
    const U32 Rgba = sTrimmed.toUInt(&IsNumber, 0);
    if (IsNumber) {
        *pArgb = (Rgba >> 8) | (Rgba << 24);
    }
    return IsNumber;
}
