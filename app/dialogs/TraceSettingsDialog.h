#pragma once

#include "app/dialogs/Dialog.h"

#include <QStringList>

class QComboBox;
class QLineEdit;

/// Trace source, trace port and SWO of the open project. Main thread.
class CTraceSettingsDialog : public CDialog {
    Q_OBJECT

public:
    /// Shows the settings in force.
    explicit CTraceSettingsDialog(QWidget* pParent);

    /// Runs the commands of the fields that differ from what was shown. The lines of all settings, for the project;
    /// empty if nothing was changed.
    QStringList Apply();

private:
    QStringList GetLines() const;
    QVariantList GetDelays() const;
    void UpdateFields();

    QComboBox* m_pSource;
    QComboBox* m_pWidth;
    QLineEdit* m_apDelay[4];
    QLineEdit* m_pSwoSpeed;
    QLineEdit* m_pCpuSpeed;
    QStringList m_ShownLines;
};
