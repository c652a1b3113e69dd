#pragma once

// The dialog of a start without a project: a new project, the wizard, another project, or a recent one. Main thread.

#include "app/dialogs/Dialog.h"

#include <QStringList>

class CWelcomeScreen : public CDialog {
    Q_OBJECT

public:
    enum RESULT : int { NEW_PROJECT, NEW_PROJECT_WIZARD, OPEN_DIALOG, OPEN_RECENT, NOTHING };

    CWelcomeScreen(const QStringList& RecentProjects, QWidget* pParent);

    /// Shows the dialog; NOTHING if it was closed without a choice.
    RESULT Choose();
    /// The project of OPEN_RECENT.
    QString GetProject() const { return m_sProject; }

private:
    void AddChoice(const QString& sIcon, const QString& sText, const QString& sHelp, RESULT Result);
    void Finish(RESULT Result);

    RESULT m_Result = NOTHING;
    QString m_sProject;
};
