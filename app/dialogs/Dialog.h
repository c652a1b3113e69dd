#pragma once

// CDialog: base of the program's dialogs. It has the application font, remembers its size under its object name, and
// goes with the window that it stands over. Main thread.

#include <QDialog>

class CDialog : public QDialog {
    Q_OBJECT

public:
    /// Size of the first show; later ones take the size that the user left.
    CDialog(const QString& sObjectName, const QString& sTitle, QSize Size, QWidget* pParent);

    void done(int Result) override;

protected:
    /// Key of one of the dialog's own settings.
    QString SettingKey(const QString& sName) const;
};
