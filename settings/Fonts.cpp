#include "settings/Fonts.h"

#include "settings/Colors.h"
#include "settings/SettingsMap.h"

#include <QFontInfo>
#include <QMap>

// clang-format off
const FONT_ROW aFontRow[NUM_FONTS] = {
    {"FONT_APP", "Text", "Default Font used to display text", FONT_APP, -1},
    {"FONT_APP_MONO", "Value", "Default Font used to display text", FONT_APP_MONO, FONT_APP},
    {"FONT_ITEM_NAME", "Text", "Table text font", FONT_ITEM_NAME, FONT_APP},
    {"FONT_ITEM_VALUE", "Value", "Table value text font", FONT_ITEM_VALUE, FONT_APP_MONO},
    {"FONT_TABLE_HEADER", "Text", "Table header font", FONT_TABLE_HEADER, FONT_ITEM_NAME},
    {"FONT_SRC_CODE", "Text", "Source code font as used by the source viewer", FONT_SRC_CODE, FONT_APP_MONO},
    {"FONT_SRC_ASM_CODE", "Assembly Code", "Font used for inline disassembly", FONT_SRC_ASM_CODE, FONT_SRC_CODE},
    {"FONT_ASM_CODE", "Text",
     "Assembler code font as used by the disassembly and instruction trace windows", FONT_ASM_CODE, FONT_APP_MONO},
    {"FONT_CONSOLE", "Text", "Console window font", FONT_CONSOLE, FONT_APP},
    {"FONT_LINE_NUMBERS", "Line Numbers", "Font used for line numbers", FONT_LINE_NUMBERS, -1},
    {"FONT_EXEC_COUNTERS", "Execution Counters", "Font used for execution counters", FONT_EXEC_COUNTERS, -1},
};

namespace {

constexpr const char* aFixedFamily[] = {
    "Fixed", "Liberation Mono", "Monospace", "Nimbus Mono", "Nimbus Mono L", "Terminal", "Ubuntu Mono",
    "UM Typewriter", "Terminus", "ProFont", "Lucida Console", "Letter Gothic", "HyperFont", "FixedSys",
    "Everson Mono", "Droid Sans Mono", "Dejavu Sans Mono", "Courier", "Courier New", "Courier 10 Pitch", "Consolas",
    "Andale Mono", "FreeMono", "TlwgTypewriter", "Menlo", "Monaco",
};
// clang-format on

constexpr int DEFAULT_POINT_SIZE = 8;

struct FONT_STATE {
    QMap<int, QFont> Set;        ///< entries in force
    QMap<int, QFont> Persistent; ///< entries to be stored
};

FONT_STATE& GetState() {
    static FONT_STATE State;
    return State;
}

QFont BaseFont() {
    QFont Font;
    Font.setPointSize(DEFAULT_POINT_SIZE);
    Font.setStyleName(QStringLiteral("Normal"));
    return Font;
}

bool IsFixedPitch(const QFont& Font) {
    for (const char* sFamily : aFixedFamily) {
        if (Font.family().compare(QLatin1String(sFamily), Qt::CaseInsensitive) == 0) {
            return true;
        }
    }
    return false;
}

QString FontKey(int Id) { return QStringLiteral("AppData/Preferences/Fonts/") + QLatin1String(aFontRow[Id].sName); }
QString ColorKey(int Id) { return QStringLiteral("AppData/Preferences/Colors/") + QLatin1String(aColorRow[Id].sName); }

} // namespace

int FindFont(const QString& sText) {
    bool IsNumber = false;
    const int Id = sText.trimmed().toInt(&IsNumber, 0);
    if (IsNumber) {
        return Id >= 0 && Id < NUM_FONTS ? Id : -1;
    }
    for (const FONT_ROW& Row : aFontRow) {
        if (sText.trimmed().compare(QLatin1String(Row.sName), Qt::CaseInsensitive) == 0) {
            return Row.Id;
        }
    }
    return -1;
}

QFont GetFont(int Id) {
    if (Id < 0 || Id >= NUM_FONTS) {
        return BaseFont();
    }
    const auto It = GetState().Set.constFind(Id);
    return It != GetState().Set.constEnd() ? It.value() : GetDefaultFont(Id);
}

QFont GetDefaultFont(int Id) {
    if (Id == FONT_APP_MONO) {
        return GetFixedPitchFont(GetFont(FONT_APP));
    }
    const int DefaultId = Id >= 0 && Id < NUM_FONTS ? aFontRow[Id].DefaultId : -1;
    return DefaultId >= 0 ? GetFont(DefaultId) : BaseFont();
}

bool IsFontSet(int Id) { return GetState().Set.contains(Id); }

void ForgetFont(int Id) {
    if (Id >= 0 && Id < NUM_FONTS) {
        GetState().Set.remove(Id);
        GetState().Persistent.remove(Id);
        RemoveSetting(FontKey(Id));
    }
}

void SetFont(int Id, const QFont& Font, bool IsPersistent) {
    if (Id < 0 || Id >= NUM_FONTS) {
        return;
    }
    GetState().Set.insert(Id, Font);
    if (IsPersistent) {
        GetState().Persistent.insert(Id, Font);
    }
}

void InitFonts() { GetState() = {}; }

QString FontText(const QFont& Font) {
    QString sStyle = QStringLiteral("Normal");
    if (Font.bold()) {
        sStyle = Font.italic() ? QStringLiteral("Bold Italic") : QStringLiteral("Bold");
    } else if (Font.italic()) {
        sStyle = QStringLiteral("Italic");
    }
    return QStringLiteral("%1,  %2pt,  %3").arg(Font.family(), QString::number(Font.pointSize()), sStyle);
}

bool ParseFont(const QString& sText, QFont* pFont) {
    const QStringList Parts = sText.split(QLatin1Char(','));
    if (Parts.size() != 3 || Parts[0].trimmed().isEmpty()) {
        return false;
    }
    bool IsNumber = false;
    const int Size = Parts[1].trimmed().remove(QStringLiteral("pt"), Qt::CaseInsensitive).trimmed().toInt(&IsNumber);
    const QString sStyle = Parts[2].trimmed().toLower();
    const bool IsBold = sStyle.contains(QLatin1String("bold"));
    const bool IsItalic = sStyle.contains(QLatin1String("italic"));
    if (!IsNumber || Size <= 0 || Size > 200 || (!IsBold && !IsItalic && sStyle != QLatin1String("normal"))) {
        return false;
    }
    *pFont = QFont(Parts[0].trimmed(), Size, IsBold ? QFont::Bold : QFont::Normal, IsItalic);
    return true;
}

QFont GetFixedPitchFont(const QFont& Font) {
    if (IsFixedPitch(Font)) {
        return Font;
    }
    QFont Probe = Font;
    Probe.setFamily(QStringLiteral("unknown"));
    Probe.setStyleName(QString());
    Probe.setStyleHint(QFont::TypeWriter, QFont::PreferDefault);
    const QFontInfo Info(Probe);
    QFont Fixed(Info.family(), Font.pointSize(), Info.weight(), Info.italic());
    Fixed.setStyleName(Info.styleName());
    Fixed.setStyleHint(QFont::TypeWriter, QFont::PreferDefault);
    return Fixed;
}

void SaveColorsAndFonts() {
    for (const COLOR_ROW& Row : aColorRow) {
        const int Id = static_cast<int>(Row.Id);
        if (GetColorValue(Id) == Row.Default) {
            RemoveSetting(ColorKey(Id));
        } else {
            WriteSetting(ColorKey(Id), QColor::fromRgba(GetColorValue(Id)).name());
        }
    }
    for (auto It = GetState().Persistent.constBegin(); It != GetState().Persistent.constEnd(); ++It) {
        WriteSetting(FontKey(It.key()), FontText(It.value()));
    }
}

void LoadColorsAndFonts() {
    for (const COLOR_ROW& Row : aColorRow) {
        U32 Argb = 0;
        const QString sColor = ReadSetting(ColorKey(static_cast<int>(Row.Id))).toString();
        if (!sColor.isEmpty() && ParseColor(sColor, &Argb)) {
            SetColorValue(static_cast<int>(Row.Id), Argb);
        }
    }
    for (const FONT_ROW& Row : aFontRow) {
        QFont Font;
        if (Row.Id != FONT_ITEM_VALUE && Row.Id != FONT_CONSOLE &&
            ParseFont(ReadSetting(FontKey(Row.Id)).toString(), &Font)) {
            SetFont(Row.Id, Font, true);
        }
    }
}
