#pragma once

// CProjectWizard asks for device, connection and program, and hands on the lines of a new project. Built for one use.
// Main thread.

#include "app/dialogs/Dialog.h"
#include "device/DeviceEventListener.h"

#include <QStringList>

class CConnectionFields;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;

class CProjectWizard : public CDialog, public CDeviceEventListener {
    Q_OBJECT

public:
    /// Fields as the last wizard left them.
    explicit CProjectWizard(QWidget* pParent);
    ~CProjectWizard() override;

    void OnDeviceGetDeviceInfoDone(const char* sDeviceName, const char* sCoreName) override;
    void OnDeviceGetDeviceInfoFailed(const char* sDeviceName) override;

signals:
    void Finished(QStringList& CommandList);

private slots:
    void OnButtonSelectDevicePressed();
    void OnButtonSelectPeripheralsPressed();
    void OnButtonSelectDataFilePressed();
    void OnButtonNextPressed();
    void OnButtonBackPressed();
    void OnButtonFinishPressed();
    void OnCurrentPageChanged(int Page);
    void ValidatePageTargetSettings();

private:
    QWidget* MakeTargetPage();
    QWidget* MakeConnectionPage();
    QWidget* MakeProgramPage();
    void AddFileRow(QWidget* pPage, const QString& sLabel, QLineEdit* pEdit, void (CProjectWizard::*pfSelect)());
    void LoadFields();
    void finish(const char* sDevice, const char* sCore);
    QString AskForFile(const QString& sFilter) const;

    QLabel* m_pTitle;
    QLabel* m_pSubTitle;
    QStackedWidget* m_pPages;
    QLineEdit* m_pDevice;
    QLineEdit* m_pPeripheralFile;
    CConnectionFields* m_pConnection = nullptr;
    QLineEdit* m_pDataFile;
    QPushButton* m_pBack;
    QPushButton* m_pNext;
    bool m_IsFinishing = false; ///< the device's core has been asked for
};
