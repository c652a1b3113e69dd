#pragma once

// The fields that say how the target is reached: target interface, speed, host interface and its option. Shared by the
// project wizard and the settings dialog. Main thread.

#include <QWidget>

class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;

class CConnectionFields : public QWidget {
    Q_OBJECT

public:
    explicit CConnectionFields(QWidget* pParent);

    void SetTargetIF(const QString& sName);
    void SetSpeed(const QString& sText);
    /// An empty option takes the interface's own default.
    void SetHostIF(const QString& sName, const QString& sOption);
    QString GetTargetIF() const;
    QString GetSpeed() const;
    QString GetHostIF() const;
    QString GetHostOption() const;
    QFormLayout* GetForm() const { return m_pForm; }

private slots:
    void OnComboBoxHostInterfaceItemChanged();

private:
    QFormLayout* m_pForm;
    QComboBox* m_pTargetIF;
    QComboBox* m_pSpeed;
    QComboBox* m_pHostIF;
    QLabel* m_pOptionLabel;
    QLineEdit* m_pOption;
};
