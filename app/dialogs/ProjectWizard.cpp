#include "app/dialogs/ProjectWizard.h"

#include "app/dialogs/ConnectionFields.h"
#include "app/dialogs/DeviceSelectionDialog.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "project/FileFinder.h"
#include "project/RegisterFiles.h"
#include "settings/SettingsMap.h"

#include <QDir>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>

namespace {

constexpr const char* aTitle[] = {"Target Device", "Connection Settings", "Program File"};
constexpr const char* aSubTitle[] = {"Choose a Target Device", "Choose a Target and Host Interface",
                                     "Choose the Program to be debugged"};
constexpr int LAST_PAGE = 2;
constexpr const char* SVD_FILTER = "Svd Files (*.svd *.xml)";
constexpr const char* DATA_FILTER = "Data Files (*.bin *.mot *.srec *.hex *.elf *.out *.axf)";

struct FIELD {
    const char* sKey;
    const char* sDefault;
};

constexpr FIELD DEVICE = {"Device", ""};
constexpr FIELD PERIPHERAL_FILE = {"PeripheralFile", ""};
constexpr FIELD TARGET_IF = {"TargetInterface", "JTAG"};
constexpr FIELD TIF_SPEED = {"TifSpeed", "1 MHz"};
constexpr FIELD HOST_IF = {"HostInterface", "USB"};
constexpr FIELD HOST_OPTION = {"HostOption", ""};
constexpr FIELD DATA_FILE = {"DataFile", ""};

} // namespace

CProjectWizard::CProjectWizard(QWidget* pParent)
    : CDialog(QStringLiteral("CProjectWizard"), QStringLiteral("New Project Wizard"), QSize(560, 320), pParent),
      m_pTitle(new QLabel(this)), m_pSubTitle(new QLabel(this)), m_pPages(new QStackedWidget(this)),
      m_pDevice(new QLineEdit), m_pPeripheralFile(new QLineEdit), m_pDataFile(new QLineEdit),
      m_pBack(new QPushButton(QStringLiteral("< &Back"), this)), m_pNext(new QPushButton(this)) {
    setWindowIcon(QIcon(QStringLiteral(":/icons/wand.svg")));
    QFont TitleFont = font();
    TitleFont.setBold(true);
    TitleFont.setPointSize(TitleFont.pointSize() + 3);
    m_pTitle->setFont(TitleFont);
    m_pPages->addWidget(MakeTargetPage());
    m_pPages->addWidget(MakeConnectionPage());
    m_pPages->addWidget(MakeProgramPage());
    m_pDevice->setObjectName(QStringLiteral("lineEditDevice"));
    m_pBack->setObjectName(QStringLiteral("buttonBack"));
    m_pNext->setObjectName(QStringLiteral("buttonNext"));
    auto* pCancel = new QPushButton(QStringLiteral("Cancel"), this);
    auto* pButtons = new QHBoxLayout;
    pButtons->addStretch(1);
    pButtons->addWidget(m_pBack);
    pButtons->addWidget(m_pNext);
    pButtons->addSpacing(12);
    pButtons->addWidget(pCancel);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(m_pTitle);
    pLayout->addWidget(m_pSubTitle);
    pLayout->addSpacing(12);
    pLayout->addWidget(m_pPages, 1);
    pLayout->addLayout(pButtons);
    m_pNext->setDefault(true);
    connect(m_pBack, &QPushButton::clicked, this, &CProjectWizard::OnButtonBackPressed);
    connect(m_pNext, &QPushButton::clicked, this, &CProjectWizard::OnButtonNextPressed);
    connect(pCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_pPages, &QStackedWidget::currentChanged, this, &CProjectWizard::OnCurrentPageChanged);
    connect(m_pDevice, &QLineEdit::textChanged, this, &CProjectWizard::ValidatePageTargetSettings);
    LoadFields();
    OnCurrentPageChanged(0);
}

CProjectWizard::~CProjectWizard() {
    WriteSetting(SettingKey(DEVICE.sKey), m_pDevice->text());
    WriteSetting(SettingKey(PERIPHERAL_FILE.sKey), m_pPeripheralFile->text());
    WriteSetting(SettingKey(TARGET_IF.sKey), m_pConnection->GetTargetIF());
    WriteSetting(SettingKey(TIF_SPEED.sKey), m_pConnection->GetSpeed());
    WriteSetting(SettingKey(HOST_IF.sKey), m_pConnection->GetHostIF());
    WriteSetting(SettingKey(HOST_OPTION.sKey), m_pConnection->GetHostOption());
    WriteSetting(SettingKey(DATA_FILE.sKey), m_pDataFile->text());
}

void CProjectWizard::LoadFields() {
    const auto Read = [this](const FIELD& Field) {
        return ReadSetting(SettingKey(QLatin1String(Field.sKey)), QString::fromLatin1(Field.sDefault)).toString();
    };
    m_pDevice->setText(Read(DEVICE));
    m_pPeripheralFile->setText(Read(PERIPHERAL_FILE));
    m_pConnection->SetTargetIF(Read(TARGET_IF));
    m_pConnection->SetSpeed(Read(TIF_SPEED));
    m_pConnection->SetHostIF(Read(HOST_IF), Read(HOST_OPTION));
    m_pDataFile->setText(Read(DATA_FILE));
}

void CProjectWizard::AddFileRow(QWidget* pPage, const QString& sLabel, QLineEdit* pEdit,
                                void (CProjectWizard::*pfSelect)()) {
    auto* pRow = new QHBoxLayout;
    auto* pSelect = new QPushButton(QStringLiteral("..."), pPage);
    pSelect->setAutoDefault(false);
    pSelect->setMaximumWidth(40);
    pSelect->setToolTip(QStringLiteral("Select"));
    pRow->addWidget(pEdit, 1);
    pRow->addWidget(pSelect);
    qobject_cast<QFormLayout*>(pPage->layout())->addRow(sLabel, pRow);
    connect(pSelect, &QPushButton::clicked, this, pfSelect);
}

QWidget* CProjectWizard::MakeTargetPage() {
    auto* pPage = new QWidget(m_pPages);
    new QFormLayout(pPage);
    AddFileRow(pPage, QStringLiteral("Device"), m_pDevice, &CProjectWizard::OnButtonSelectDevicePressed);
    AddFileRow(pPage, QStringLiteral("Register Description File (optional)"), m_pPeripheralFile,
               &CProjectWizard::OnButtonSelectPeripheralsPressed);
    return pPage;
}

QWidget* CProjectWizard::MakeConnectionPage() {
    m_pConnection = new CConnectionFields(m_pPages);
    return m_pConnection;
}

QWidget* CProjectWizard::MakeProgramPage() {
    auto* pPage = new QWidget(m_pPages);
    new QFormLayout(pPage);
    AddFileRow(pPage, QStringLiteral("Program File (optional)"), m_pDataFile,
               &CProjectWizard::OnButtonSelectDataFilePressed);
    return pPage;
}

void CProjectWizard::ValidatePageTargetSettings() {
    m_pNext->setEnabled(m_pPages->currentIndex() > 0 || !m_pDevice->text().trimmed().isEmpty());
}

void CProjectWizard::OnCurrentPageChanged(int Page) {
    m_pTitle->setText(QString::fromLatin1(aTitle[Page]));
    m_pSubTitle->setText(QString::fromLatin1(aSubTitle[Page]));
    m_pNext->setText(Page == LAST_PAGE ? QStringLiteral("&Finish") : QStringLiteral("&Next >"));
    m_pBack->setEnabled(Page > 0);
    ValidatePageTargetSettings();
    if (Page == 0) {
        m_pDevice->setFocus();
    } else {
        m_pNext->setFocus();
    }
}

void CProjectWizard::OnButtonBackPressed() { m_pPages->setCurrentIndex(m_pPages->currentIndex() - 1); }

void CProjectWizard::OnButtonNextPressed() {
    if (m_pPages->currentIndex() == LAST_PAGE) {
        OnButtonFinishPressed();
    } else {
        m_pPages->setCurrentIndex(m_pPages->currentIndex() + 1);
    }
}

void CProjectWizard::OnButtonSelectDevicePressed() {
    CDeviceSelectionDialog Dialog(m_pDevice->text(), this);
    if (Dialog.exec() == Accepted) {
        m_pDevice->setText(Dialog.GetDevice());
    }
}

QString CProjectWizard::AskForFile(const QString& sFilter) const {
    return QFileDialog::getOpenFileName(
        parentWidget(), QStringLiteral("Open File"),
        ReadSetting(QStringLiteral("AppData/MainWindow/DefaultDirOpen"), QDir::homePath()).toString(), sFilter);
}

void CProjectWizard::OnButtonSelectPeripheralsPressed() {
    const QString sFile = AskForFile(QLatin1String(SVD_FILTER));
    if (!sFile.isEmpty()) {
        m_pPeripheralFile->setText(sFile);
    }
}

void CProjectWizard::OnButtonSelectDataFilePressed() {
    const QString sFile = AskForFile(QLatin1String(DATA_FILTER));
    if (!sFile.isEmpty()) {
        m_pDataFile->setText(sFile);
    }
}

void CProjectWizard::OnButtonFinishPressed() {
    m_IsFinishing = true;
    m_pNext->setEnabled(false);
    CDevice::Get().PostGetDeviceInfo(m_pDevice->text().trimmed().toUtf8());
}

void CProjectWizard::OnDeviceGetDeviceInfoDone(const char* sDeviceName, const char* sCoreName) {
    if (m_IsFinishing) {
        finish(sDeviceName, sCoreName);
    }
}

void CProjectWizard::OnDeviceGetDeviceInfoFailed(const char* sDeviceName) {
    if (m_IsFinishing) {
        finish(sDeviceName, "auto");
    }
}

void CProjectWizard::finish(const char* sDevice, const char* sCore) {
    m_IsFinishing = false;
    QStringList Commands = {
        CCommandTable::RenderWith(CMD_PROJECT_SET_DEVICE, {QString::fromUtf8(sDevice)}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_HOST_IF,
                                  {m_pConnection->GetHostIF(), m_pConnection->GetHostOption()}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_TARGET_IF, {m_pConnection->GetTargetIF()}),
        CCommandTable::RenderWith(CMD_PROJECT_SET_TIF_SPEED, {m_pConnection->GetSpeed()}),
    };
    for (const QString& sFile :
         {GetSVDFileNameForCore(QString::fromUtf8(sCore)), m_pPeripheralFile->text().trimmed()}) {
        if (!sFile.isEmpty()) {
            Commands.append(CCommandTable::RenderWith(CMD_PROJECT_ADD_SVD_FILE, {CleanPath(sFile)}));
        }
    }
    if (const QString sData = m_pDataFile->text().trimmed(); !sData.isEmpty()) {
        Commands.append(CCommandTable::RenderWith(CMD_FILE_OPEN, {CleanPath(sData)}));
    }
    Commands.removeAll(QString());
    Commands.removeDuplicates(); // one file may describe core and peripherals
    emit Finished(Commands);
    accept();
}
