#include "app/RecentProjects.h"

#include "command/CommandTable.h"
#include "framework/PlainText.h"
#include "settings/SettingsMap.h"

#include <QFileInfo>
#include <QMenu>

namespace {

constexpr int MAX_RECENT_PROJECTS = 4;

QString SettingsKey() { return QStringLiteral("AppData/MainWindow/RecentProjects"); }

} // namespace

void CRecentProjects::SetMenu(QMenu* pMenu) {
    m_pMenu = pMenu;
    UpdateMenu();
}

void CRecentProjects::Add(const QString& sPath, const QString& sOldPath) {
    if (!sOldPath.isEmpty() && m_Paths.contains(sOldPath)) {
        m_Paths.replace(m_Paths.indexOf(sOldPath), sPath);
    } else if (m_Paths.size() >= MAX_RECENT_PROJECTS && !m_Paths.contains(sPath)) {
        m_Paths.removeLast();
    }
    m_Paths.removeAll(sPath);
    if (QFileInfo(sPath).isFile()) {
        m_Paths.prepend(sPath);
    }
    UpdateMenu();
}

void CRecentProjects::UpdateMenu() {
    if (m_pMenu == nullptr) {
        return;
    }
    m_pMenu->clear();
    m_pMenu->setEnabled(!m_Paths.isEmpty());
    for (const QString& sPath : std::as_const(m_Paths)) {
        m_pMenu->addAction(EscapeMnemonic(sPath), this, [sPath] { CCommandTable::Execute(CMD_FILE_OPEN, {sPath}); });
    }
}

void CRecentProjects::RestoreState() {
    for (const QString& sPath : ReadSetting(SettingsKey()).toStringList()) {
        if (m_Paths.size() < MAX_RECENT_PROJECTS && sPath.endsWith(QLatin1String(".dbgprj"), Qt::CaseInsensitive) &&
            QFileInfo(sPath).isFile()) {
            m_Paths.append(sPath);
        }
    }
    UpdateMenu();
}

void CRecentProjects::SaveState() const { WriteSetting(SettingsKey(), m_Paths); }
