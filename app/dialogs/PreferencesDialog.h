#pragma once

#include "app/dialogs/Dialog.h"

class CSettingBox;
class QStackedWidget;
class QTreeWidget;
struct PREFERENCE_PAGE;

/// The user's settings on pages. Accepting applies what was changed, through the command table; rejecting leaves all
/// as it was. Main thread.
class CPreferencesDialog : public CDialog {
    Q_OBJECT

public:
    explicit CPreferencesDialog(QWidget* pParent);

    void accept() override;
    void done(int Result) override;
    /// True if a font was changed: one that went back to its default was changed without a command.
    bool HasChangedFont() const { return m_HasChangedFont; }

private:
    QWidget* MakePage(const PREFERENCE_PAGE& Page);
    CSettingBox* MakeBox(int Kind, int Id, QWidget* pParent) const;
    void MakePages();

    QTreeWidget* m_pTree;
    QStackedWidget* m_pPages;
    QList<CSettingBox*> m_Boxes;
    bool m_HasChangedFont = false;
};
