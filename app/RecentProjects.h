#pragma once

// CRecentProjects: the projects opened last, newest first, and their menu. Kept in the settings. Main thread.

#include <QObject>
#include <QStringList>

class QMenu;

class CRecentProjects : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// The menu that lists them from now on; its entries open the project.
    void SetMenu(QMenu* pMenu);
    /// Puts a project in front. OldPath: the name that it had before it was saved under another one.
    void Add(const QString& sPath, const QString& sOldPath = QString());
    const QStringList& Get() const { return m_Paths; }
    void RestoreState();
    void SaveState() const;

private:
    void UpdateMenu();

    QStringList m_Paths;
    QMenu* m_pMenu = nullptr;
};
