#include "app/dialogs/SettingBoxes.h"

#include "command/CommandTable.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QFontDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPainter>
#include <QPalette>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>

namespace {

constexpr int EDITOR_WIDTH = 240;
constexpr QSize SWATCH_SIZE(32, 14);

/// A field of the colour, so that a user sees the choice before it is in force.
QIcon Swatch(const QColor& Color, const QPalette& Palette) {
    QPixmap Pixmap(SWATCH_SIZE);
    Pixmap.fill(Color);
    QPainter Painter(&Pixmap);
    Painter.setPen(Palette.color(QPalette::Mid));
    Painter.drawRect(0, 0, SWATCH_SIZE.width() - 1, SWATCH_SIZE.height() - 1);
    return QIcon(Pixmap);
}

} // namespace

CSettingBox::CSettingBox(QWidget* pParent) : QWidget(pParent), m_pLayout(new QHBoxLayout(this)) {
    m_pLayout->setContentsMargins(0, 0, 0, 0);
}

void CSettingBox::AddResetButton(const QString& sDefault) {
    auto* pReset = new QToolButton(this);
    pReset->setObjectName(QStringLiteral("buttonReset"));
    pReset->setIcon(QIcon(QStringLiteral(":/icons/reset.svg")));
    pReset->setAutoRaise(true);
    pReset->setToolTip(sDefault.isEmpty() ? QStringLiteral("Reset to default")
                                          : QStringLiteral("Reset to default: ") + sDefault);
    m_pLayout->addWidget(pReset);
    connect(pReset, &QToolButton::clicked, this, [this] { Reset(); });
}

CVariableBox::CVariableBox(int VarId, QWidget* pParent) : CSettingBox(pParent), m_VarId(VarId) {
    const SYS_VAR* pVar = GetSysVar(VarId);
    QWidget* pEditor = nullptr;
    if (QLatin1String(pVar->sSelection) == QLatin1String("no=0,yes=1")) {
        pEditor = m_pCheck = new QCheckBox(this);
        connect(m_pCheck, &QCheckBox::toggled, this, &CVariableBox::VariableChanged);
    } else if (IsSelectionSysVar(pVar)) {
        pEditor = m_pList = new QComboBox(this);
        m_pList->addItems(SysVarNames(pVar));
        connect(m_pList, &QComboBox::currentIndexChanged, this,
                [this, pVar](int Index) { emit VariableChanged(SysVarValues(pVar).value(Index)); });
    } else {
        pEditor = m_pEdit = new QLineEdit(this);
        m_pEdit->setToolTip(SysVarRange(pVar));
        connect(m_pEdit, &QLineEdit::editingFinished, this, [this] { emit VariableChanged(GetValue(nullptr)); });
    }
    pEditor->setMinimumWidth(m_pCheck == nullptr ? EDITOR_WIDTH : 0);
    m_pLayout->addWidget(pEditor);
    m_pLayout->addStretch(1);
    AddResetButton(SysVarText(pVar, *pVar->pDefault));
    SetValue(SysVarValue(VarId));
}

void CVariableBox::SetValue(I32 Value) {
    if (m_pCheck != nullptr) {
        m_pCheck->setChecked(Value != 0);
    } else if (m_pList != nullptr) {
        m_pList->setCurrentIndex(static_cast<int>(SysVarValues(GetSysVar(m_VarId)).indexOf(Value)));
    } else {
        m_pEdit->setText(QString::number(Value));
    }
}

QString CVariableBox::GetValueText() const {
    if (m_pCheck != nullptr) {
        return m_pCheck->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
    }
    return m_pList != nullptr ? m_pList->currentText() : m_pEdit->text().trimmed();
}

I32 CVariableBox::GetValue(bool* pOk) const {
    bool Ok = false;
    const I32 Value = ParseSysVar(GetSysVar(m_VarId), GetValueText(), &Ok);
    if (pOk != nullptr) {
        *pOk = Ok;
    }
    return Ok ? Value : SysVarValue(m_VarId);
}

bool CVariableBox::IsChanged() const {
    bool Ok = false;
    return GetValue(&Ok) != SysVarValue(m_VarId) || !Ok; // what can't be read is refused by the command, with its text
}

void CVariableBox::Apply() {
    bool Ok = false;
    const I32 Value = GetValue(&Ok);
    CCommandTable::Execute(CMD_EDIT_PREFERENCE, {QString::fromLatin1(GetSysVar(m_VarId)->sName),
                                                 Ok ? QString::number(Value) : GetValueText()});
}

void CVariableBox::Reset() { SetValue(*GetSysVar(m_VarId)->pDefault); }

CColorBox::CColorBox(int ColorId, QWidget* pParent)
    : CSettingBox(pParent), m_ColorId(ColorId), m_Value(GetColorValue(ColorId)), m_pSelect(new QPushButton(this)) {
    m_pSelect->setIconSize(SWATCH_SIZE);
    m_pSelect->setAutoDefault(false);
    m_pSelect->setMinimumWidth(EDITOR_WIDTH / 2);
    m_pSelect->setToolTip(QString::fromLatin1(aColorRow[ColorId].sToolTip));
    auto* pPaint = new QToolButton(this);
    pPaint->setIcon(QIcon(QStringLiteral(":/icons/paint-can-medium.svg")));
    pPaint->setAutoRaise(true);
    pPaint->setToolTip(QStringLiteral("Choose the color"));
    m_pLayout->addWidget(m_pSelect);
    m_pLayout->addWidget(pPaint);
    m_pLayout->addStretch(1);
    AddResetButton(QString());
    connect(pPaint, &QToolButton::clicked, this, &CColorBox::Select);
    connect(m_pSelect, &QPushButton::clicked, this, &CColorBox::Select);
    SetValue(m_Value);
}

void CColorBox::SetValue(U32 Value) {
    m_Value = Value;
    const QColor Color = ResolveColor(m_ColorId, Value);
    m_pSelect->setIcon(Swatch(Color, palette()));
    m_pSelect->setText(Value == aColorRow[m_ColorId].Default ? QStringLiteral("default") : Color.name());
}

void CColorBox::Select() {
    const QColor Color = QColorDialog::getColor(ResolveColor(m_ColorId, m_Value), this,
                                                QString::fromLatin1(aColorRow[m_ColorId].sLabel));
    if (Color.isValid()) {
        SetValue(Color.rgba());
    }
}

bool CColorBox::IsChanged() const { return m_Value != GetColorValue(m_ColorId); }

void CColorBox::Apply() {
    const bool IsMarker = m_Value == COLOR_MARK_BASE || m_Value == COLOR_MARK_WINDOW;
    // The command takes a number as RGBA, which brings a marker through unchanged.
    const QString sColor = IsMarker
                               ? QStringLiteral("0x%1").arg((m_Value << 8) | (m_Value >> 24), 8, 16, QLatin1Char('0'))
                               : QColor::fromRgba(m_Value).name();
    CCommandTable::Execute(CMD_EDIT_COLOR, {QString::fromLatin1(aColorRow[m_ColorId].sName), sColor});
}

void CColorBox::Reset() { SetValue(aColorRow[m_ColorId].Default); }

CFontBox::CFontBox(int FontId, QWidget* pParent)
    : CSettingBox(pParent), m_FontId(FontId), m_Font(GetFont(FontId)), m_pSelect(new QPushButton(this)) {
    m_pSelect->setAutoDefault(false);
    m_pSelect->setMinimumWidth(EDITOR_WIDTH);
    m_pSelect->setToolTip(QString::fromLatin1(aFontRow[FontId].sToolTip));
    m_pLayout->addWidget(m_pSelect);
    m_pLayout->addStretch(1);
    AddResetButton(QString());
    connect(m_pSelect, &QPushButton::clicked, this, &CFontBox::Select);
    ShowValue();
}

void CFontBox::ShowValue() {
    m_pSelect->setText(FontText(m_Font));
    m_pSelect->setFont(m_Font);
}

void CFontBox::SetValue(const QFont& Font) {
    m_Font = Font;
    m_IsReset = false;
    ShowValue();
}

void CFontBox::Select() {
    bool Ok = false;
    const QFont Font = QFontDialog::getFont(&Ok, m_Font, this, QString::fromLatin1(aFontRow[m_FontId].sLabel));
    if (Ok) {
        SetValue(Font);
    }
}

bool CFontBox::IsChanged() const {
    return m_IsReset ? IsFontSet(m_FontId) : FontText(m_Font) != FontText(GetFont(m_FontId));
}

void CFontBox::Apply() {
    if (m_IsReset) {
        ForgetFont(m_FontId);
        return;
    }
    CCommandTable::Execute(CMD_EDIT_FONT, {QString::fromLatin1(aFontRow[m_FontId].sName), FontText(m_Font)});
    SetFont(m_FontId, m_Font, true);
}

void CFontBox::Reset() {
    m_Font = GetDefaultFont(m_FontId);
    m_IsReset = true;
    ShowValue();
}
