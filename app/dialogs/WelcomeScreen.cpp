#include "app/dialogs/WelcomeScreen.h"

#include "base/Application.h"
#include "framework/PlainText.h"
#include "settings/SysVars.h"

#include <QCheckBox>
#include <QCommandLinkButton>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QListWidget>

namespace {

constexpr int ICON_SIZE = 48;
constexpr int TITLE_POINTS_MORE = 8;

QWidget* MakeHeader(QWidget* pParent) {
    auto* pHeader = new QWidget(pParent);
    auto* pLayout = new QHBoxLayout(pHeader);
    pLayout->setContentsMargins(0, 0, 0, 0);
    auto* pIcon = new QLabel(pHeader);
    pIcon->setPixmap(QIcon(QStringLiteral(":/icons/magnifier.svg")).pixmap(ICON_SIZE, ICON_SIZE));
    auto* pTitle = new QLabel(GetAppTitle(true, true), pHeader);
    QFont Font = pHeader->font();
    Font.setPointSize(Font.pointSize() + TITLE_POINTS_MORE);
    pTitle->setFont(Font);
    pLayout->addWidget(pIcon);
    pLayout->addWidget(pTitle, 1);
    return pHeader;
}

} // namespace

CWelcomeScreen::CWelcomeScreen(const QStringList& RecentProjects, QWidget* pParent)
    : CDialog(QStringLiteral("CWelcomeScreen"), QStringLiteral("Welcome"), QSize(620, 470), pParent) {
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(MakeHeader(this));
    pLayout->addWidget(new QLabel(QStringLiteral("Recent projects"), this));
    auto* pList = new QListWidget(this);
    pList->setObjectName(QStringLiteral("listRecentProjects"));
    for (const QString& sPath : RecentProjects) {
        auto* pItem =
            new QListWidgetItem(QIcon(QStringLiteral(":/icons/new-project.svg")),
                                QStringLiteral("%1\n%2").arg(QFileInfo(sPath).completeBaseName(), sPath), pList);
        pItem->setData(Qt::UserRole, sPath);
        pItem->setToolTip(ToPlainToolTip(sPath));
    }
    pList->setCurrentRow(0);
    connect(pList, &QListWidget::itemActivated, this, [this](const QListWidgetItem* pItem) {
        m_sProject = pItem->data(Qt::UserRole).toString();
        Finish(OPEN_RECENT);
    });
    pLayout->addWidget(pList, 1);
    AddChoice(QStringLiteral("open.svg"), QStringLiteral("&Open project..."), QStringLiteral("Choose a project file"),
              OPEN_DIALOG);
    AddChoice(QStringLiteral("wand.svg"), QStringLiteral("New project &wizard..."),
              QStringLiteral("Choose device, connection and program"), NEW_PROJECT_WIZARD);
    AddChoice(QStringLiteral("new-project.svg"), QStringLiteral("&New project"),
              QStringLiteral("Start with an empty project"), NEW_PROJECT);
    auto* pMostRecent =
        new QCheckBox(QString::fromLatin1(GetSysVar(PREF_START_WITH_MOST_RECENT_PROJ)->sDescription), this);
    connect(pMostRecent, &QCheckBox::toggled, this,
            [](bool IsOn) { SetSysVar(GetSysVar(PREF_START_WITH_MOST_RECENT_PROJ), IsOn ? 1 : 0, true); });
    pLayout->addWidget(pMostRecent);
    pList->setFocus();
}

void CWelcomeScreen::AddChoice(const QString& sIcon, const QString& sText, const QString& sHelp, RESULT Result) {
    auto* pButton = new QCommandLinkButton(sText, sHelp, this);
    pButton->setIcon(QIcon(QStringLiteral(":/icons/") + sIcon));
    pButton->setObjectName(QStringLiteral("choice%1").arg(Result));
    pButton->setAutoDefault(false);
    connect(pButton, &QCommandLinkButton::clicked, this, [this, Result] { Finish(Result); });
    layout()->addWidget(pButton);
}

void CWelcomeScreen::Finish(RESULT Result) {
    m_Result = Result;
    accept();
}

CWelcomeScreen::RESULT CWelcomeScreen::Choose() {
    m_Result = NOTHING;
    exec();
    return m_Result;
}
