#pragma once

#include "app/dialogs/Dialog.h"

#include <QStringList>

class CConnectionFields;
class QComboBox;
class QLineEdit;

/// Device and connection of the open project. Main thread.
class CNovikSettingsDialog : public CDialog {
    Q_OBJECT

public:
    /// Shows the settings in force.
    explicit CNovikSettingsDialog(QWidget* pParent);

    /// Runs the commands of the fields that differ from what was shown. The lines of all settings, for the project;
    /// empty if nothing was changed.
    QStringList Apply();

private slots:
    void OnButtonSelectDevicePressed();

private:
    QStringList GetLines() const;

    CConnectionFields* m_pConnection;
    QLineEdit* m_pDevice;
    QLineEdit* m_pDRPre;
    QLineEdit* m_pIRLen;
    QComboBox* m_pEndian;
    QStringList m_ShownLines;
};
