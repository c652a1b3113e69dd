#include "app/dialogs/TraceSettingsDialog.h"

#include "command/CommandTable.h"
#include "settings/SysVars.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QIntValidator>
#include <QLineEdit>
#include <QVBoxLayout>

namespace {

constexpr int MAX_DELAY_PS = 100'000;
constexpr int SOURCE_PINS = 1;
constexpr int SOURCE_SWO = 3;

QComboBox* MakeList(int VarId, QWidget* pParent) {
    auto* pList = new QComboBox(pParent);
    pList->addItems(SysVarNames(GetSysVar(VarId)));
    pList->setCurrentText(SysVarText(GetSysVar(VarId)));
    return pList;
}

I32 Value(int VarId, const QComboBox* pList) { return SysVarValues(GetSysVar(VarId)).value(pList->currentIndex()); }

} // namespace

CTraceSettingsDialog::CTraceSettingsDialog(QWidget* pParent)
    : CDialog(QStringLiteral("CTraceSettingsDialog"), QStringLiteral("Trace Settings"), QSize(420, 340), pParent),
      m_pSource(MakeList(VAR_TRACE_SOURCE, this)), m_pWidth(MakeList(VAR_TRACE_PORT_WIDTH, this)),
      m_pSwoSpeed(new QLineEdit(SysVarText(GetSysVar(VAR_SWO_SPEED)), this)),
      m_pCpuSpeed(new QLineEdit(SysVarText(GetSysVar(VAR_SWO_CPU_SPEED)), this)) {
    m_pSource->setObjectName(QStringLiteral("comboBoxTraceSource"));
    auto* pForm = new QFormLayout;
    pForm->addRow(QStringLiteral("Trace Source"), m_pSource);
    pForm->addRow(QStringLiteral("Trace Port Width"), m_pWidth);
    for (int i = 0; i < 4; ++i) {
        m_apDelay[i] = new QLineEdit(QString::number(SysVarValue(VAR_TRACE_PORT_DELAY_0 + i)), this);
        m_apDelay[i]->setValidator(new QIntValidator(-MAX_DELAY_PS, MAX_DELAY_PS, m_apDelay[i]));
        pForm->addRow(QStringLiteral("Delay of Data Line %1 [ps]").arg(i), m_apDelay[i]);
    }
    pForm->addRow(QStringLiteral("SWO Speed"), m_pSwoSpeed);
    pForm->addRow(QStringLiteral("CPU Speed"), m_pCpuSpeed);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pForm);
    pLayout->addStretch(1);
    pLayout->addWidget(pButtons);
    connect(m_pSource, &QComboBox::currentIndexChanged, this, &CTraceSettingsDialog::UpdateFields);
    connect(pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    UpdateFields();
    m_ShownLines = GetLines();
}

void CTraceSettingsDialog::UpdateFields() {
    const I32 Source = Value(VAR_TRACE_SOURCE, m_pSource);
    m_pWidth->setEnabled(Source == SOURCE_PINS);
    for (QLineEdit* pDelay : m_apDelay) {
        pDelay->setEnabled(Source == SOURCE_PINS);
    }
    m_pSwoSpeed->setEnabled(Source == SOURCE_SWO);
    m_pCpuSpeed->setEnabled(Source == SOURCE_SWO);
}

QVariantList CTraceSettingsDialog::GetDelays() const {
    return {m_apDelay[0]->text(), m_apDelay[1]->text(), m_apDelay[2]->text(), m_apDelay[3]->text()};
}

QStringList CTraceSettingsDialog::GetLines() const {
    return {
        CCommandTable::RenderWith(CMD_PROJECT_SET_TRACE_SOURCE, {m_pSource->currentText()}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_TRACE_PORT_WIDTH, {Value(VAR_TRACE_PORT_WIDTH, m_pWidth)}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_TRACE_TIMING, GetDelays()),
        CCommandTable::RenderWith(CMD_PROJECT_CONFIG_SWO,
                                  {m_pSwoSpeed->text().trimmed(), m_pCpuSpeed->text().trimmed()}),
    };
}

QStringList CTraceSettingsDialog::Apply() {
    QStringList Lines = GetLines();
    if (Lines == m_ShownLines) {
        return {};
    }
    const auto Run = [&](qsizetype Index, COMMAND_ID Id, const QVariantList& Args) {
        if (Lines[Index] != m_ShownLines[Index]) {
            CCommandTable::Execute(Id, Args);
        }
    };
    Run(0, CMD_PROJECT_SET_TRACE_SOURCE, {m_pSource->currentText()});
    Run(1, CMD_PROJECT_SET_TRACE_PORT_WIDTH, {Value(VAR_TRACE_PORT_WIDTH, m_pWidth)});
    Run(2, CMD_PROJECT_SET_TRACE_TIMING, GetDelays());
    Run(3, CMD_PROJECT_CONFIG_SWO, {m_pSwoSpeed->text().trimmed(), m_pCpuSpeed->text().trimmed()});
    return Lines;
}
