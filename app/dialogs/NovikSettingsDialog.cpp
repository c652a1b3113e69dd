#include "app/dialogs/NovikSettingsDialog.h"

#include "app/dialogs/ConnectionFields.h"
#include "app/dialogs/DeviceSelectionDialog.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "settings/SysVars.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLineEdit>
#include <QPushButton>

namespace {

constexpr int MAX_CHAIN_BITS = 1'000'000;
constexpr int HOST_IF_IP = 2;
constexpr int TARGET_IF_SWD = 1;

/// The selection's own name of a speed, else the speed as text.
QString SpeedName(I32 Speed) {
    const SYS_VAR* pVar = GetSysVar(VAR_TIF_SPEED);
    const qsizetype Index = SysVarValues(pVar).indexOf(Speed);
    return Index >= 0 ? SysVarNames(pVar)[Index] : SpeedText(static_cast<U32>(Speed));
}

QLineEdit* MakeNumber(int Value, QWidget* pParent) {
    auto* pEdit = new QLineEdit(QString::number(Value), pParent);
    pEdit->setValidator(new QIntValidator(0, MAX_CHAIN_BITS, pEdit));
    return pEdit;
}

} // namespace

CNovikSettingsDialog::CNovikSettingsDialog(QWidget* pParent)
    : CDialog(QStringLiteral("CNovikSettingsDialog"), QStringLiteral("Novik Settings"), QSize(480, 320), pParent),
      m_pConnection(new CConnectionFields(this)), m_pDevice(new QLineEdit(this)), m_pEndian(new QComboBox(this)) {
    const CDevice& Device = CDevice::Get();
    m_pDRPre = MakeNumber(Device.GetConfigParam(DEV_CFG_DR_PRE), this);
    m_pIRLen = MakeNumber(Device.GetConfigParam(DEV_CFG_IR_PRE), this);
    m_pDevice->setText(QString::fromUtf8(Device.GetConfigText(DEV_CFG_DEVICE_NAME)));
    const bool IsIp = Device.GetConfigParam(DEV_CFG_HOST_IF) == HOST_IF_IP;
    const QString sSerialNo = Device.GetConfigParam(DEV_CFG_USE_SN) != 0
                                  ? QString::number(static_cast<U32>(Device.GetConfigParam(DEV_CFG_USB_SN)))
                                  : QString();
    m_pConnection->SetHostIF(IsIp ? QStringLiteral("IP") : QStringLiteral("USB"),
                             IsIp ? QString::fromUtf8(Device.GetConfigText(DEV_CFG_HOST_NAME)) : sSerialNo);
    m_pConnection->SetTargetIF(Device.GetConfigParam(DEV_CFG_TARGET_IF) == TARGET_IF_SWD ? QStringLiteral("SWD")
                                                                                         : QStringLiteral("JTAG"));
    m_pConnection->SetSpeed(SpeedName(Device.GetConfigParam(DEV_CFG_SPEED)));
    m_pEndian->addItems({QStringLiteral("Little endian"), QStringLiteral("Big endian")});
    m_pEndian->setCurrentIndex((Device.GetConfigParam(DEV_CFG_ENDIAN) & 1) != 0 ? 1 : 0);
    auto* pDeviceRow = new QHBoxLayout;
    auto* pSelect = new QPushButton(QStringLiteral("..."), this);
    pSelect->setAutoDefault(false);
    pSelect->setMaximumWidth(40);
    pDeviceRow->addWidget(m_pDevice, 1);
    pDeviceRow->addWidget(pSelect);
    QFormLayout* pForm = m_pConnection->GetForm();
    pForm->insertRow(0, QStringLiteral("Device"), pDeviceRow);
    pForm->addRow(QStringLiteral("Bits before the Target (DR)"), m_pDRPre);
    pForm->addRow(QStringLiteral("Instruction Bits before the Target (IR)"), m_pIRLen);
    pForm->addRow(QStringLiteral("Byte Order of Data"), m_pEndian);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(m_pConnection);
    pLayout->addStretch(1);
    pLayout->addWidget(pButtons);
    connect(pSelect, &QPushButton::clicked, this, &CNovikSettingsDialog::OnButtonSelectDevicePressed);
    connect(pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    m_ShownLines = GetLines();
}

void CNovikSettingsDialog::OnButtonSelectDevicePressed() {
    CDeviceSelectionDialog Dialog(m_pDevice->text(), this);
    if (Dialog.exec() == Accepted) {
        m_pDevice->setText(Dialog.GetDevice());
    }
}

QStringList CNovikSettingsDialog::GetLines() const {
    QStringList Lines = {
        CCommandTable::RenderWith(CMD_PROJECT_SET_DEVICE, {m_pDevice->text().trimmed()}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_HOST_IF,
                                  {m_pConnection->GetHostIF(), m_pConnection->GetHostOption()}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_TARGET_IF, {m_pConnection->GetTargetIF()}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_TIF_SPEED, {m_pConnection->GetSpeed()}),
    };
    // What is as a project finds it needs no line.
    if (m_pDRPre->text().toInt() != 0 || m_pIRLen->text().toInt() != 0) {
        Lines.append(CCommandTable::RenderWith(CMD_PROJECT_SET_JTAG_CONFIG, {m_pDRPre->text(), m_pIRLen->text()}));
    }
    if (m_pEndian->currentIndex() != 0) {
        Lines.append(CCommandTable::RenderWith(CMD_TARGET_SET_ENDIANESS, {m_pEndian->currentIndex()}));
    }
    return Lines;
}

QStringList CNovikSettingsDialog::Apply() {
    QStringList Lines = GetLines();
    if (Lines == m_ShownLines) {
        return {};
    }
    const auto Run = [&](qsizetype Index, COMMAND_ID Id, const QVariantList& Args) {
        if (Lines.value(Index) != m_ShownLines.value(Index)) {
            CCommandTable::Execute(Id, Args);
        }
    };
    Run(0, CMD_PROJECT_SET_DEVICE, {m_pDevice->text().trimmed()});
    Run(1, CMD_PROJECT_SET_HOST_IF, {m_pConnection->GetHostIF(), m_pConnection->GetHostOption()});
    Run(2, CMD_PROJECT_SET_TARGET_IF, {m_pConnection->GetTargetIF()});
    Run(3, CMD_PROJECT_SET_TIF_SPEED, {m_pConnection->GetSpeed()});
    if (Lines.mid(4) != m_ShownLines.mid(4)) {
        CCommandTable::Execute(CMD_PROJECT_SET_JTAG_CONFIG, {m_pDRPre->text(), m_pIRLen->text()});
        CCommandTable::Execute(CMD_TARGET_SET_ENDIANESS, {m_pEndian->currentIndex()});
    }
    return Lines;
}
