#include "app/dialogs/ConnectionFields.h"

#include "settings/SysVars.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>

namespace {

constexpr const char* DEFAULT_IP_ADDRESS = "192.168.0.1";

} // namespace

CConnectionFields::CConnectionFields(QWidget* pParent)
    : QWidget(pParent), m_pForm(new QFormLayout(this)), m_pTargetIF(new QComboBox(this)), m_pSpeed(new QComboBox(this)),
      m_pHostIF(new QComboBox(this)), m_pOptionLabel(new QLabel(this)), m_pOption(new QLineEdit(this)) {
    m_pForm->setContentsMargins(0, 0, 0, 0);
    m_pTargetIF->setObjectName(QStringLiteral("comboBoxTargetInterface"));
    m_pTargetIF->addItems({QStringLiteral("JTAG"), QStringLiteral("SWD")});
    m_pSpeed->setObjectName(QStringLiteral("comboBoxTifSpeed"));
    m_pSpeed->setEditable(true);
    m_pSpeed->addItems(SysVarNames(GetSysVar(VAR_TIF_SPEED)));
    m_pHostIF->setObjectName(QStringLiteral("comboBoxHostInterface"));
    m_pHostIF->addItems({QStringLiteral("USB"), QStringLiteral("IP")});
    m_pOption->setObjectName(QStringLiteral("lineEditHostOption"));
    m_pForm->addRow(QStringLiteral("Target Interface"), m_pTargetIF);
    m_pForm->addRow(QStringLiteral("Target Interface Speed"), m_pSpeed);
    m_pForm->addRow(QStringLiteral("Host Interface"), m_pHostIF);
    m_pForm->addRow(m_pOptionLabel, m_pOption);
    connect(m_pHostIF, &QComboBox::currentIndexChanged, this, &CConnectionFields::OnComboBoxHostInterfaceItemChanged);
    OnComboBoxHostInterfaceItemChanged();
}

void CConnectionFields::OnComboBoxHostInterfaceItemChanged() {
    const bool IsUsb = m_pHostIF->currentIndex() == 0;
    m_pOptionLabel->setText(IsUsb ? QStringLiteral("Serial No") : QStringLiteral("IP Address"));
    m_pOption->setText(IsUsb ? QString() : QLatin1String(DEFAULT_IP_ADDRESS));
    m_pOption->setPlaceholderText(IsUsb ? QStringLiteral("empty: the first probe found") : QString());
}

void CConnectionFields::SetTargetIF(const QString& sName) { m_pTargetIF->setCurrentText(sName); }
void CConnectionFields::SetSpeed(const QString& sText) { m_pSpeed->setCurrentText(sText); }

void CConnectionFields::SetHostIF(const QString& sName, const QString& sOption) {
    m_pHostIF->setCurrentText(sName);
    if (!sOption.isEmpty()) {
        m_pOption->setText(sOption);
    }
}

QString CConnectionFields::GetTargetIF() const { return m_pTargetIF->currentText(); }
QString CConnectionFields::GetSpeed() const { return m_pSpeed->currentText(); }
QString CConnectionFields::GetHostIF() const { return m_pHostIF->currentText(); }
QString CConnectionFields::GetHostOption() const { return m_pOption->text().trimmed(); }
