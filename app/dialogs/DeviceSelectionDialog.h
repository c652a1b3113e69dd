#pragma once

#include "app/dialogs/Dialog.h"

class CDeviceDataModel;
class QLabel;
class QLineEdit;
class QPushButton;
class QSortFilterProxyModel;
class QTreeView;

/// Chooses one of the devices that the probe library knows; a line of text narrows the list. Main thread.
class CDeviceSelectionDialog : public CDialog {
    Q_OBJECT

public:
    CDeviceSelectionDialog(const QString& sDevice, QWidget* pParent);

    QString GetDevice() const { return m_sDevice; }

private slots:
    void OnButtonAcceptClicked();
    void OnTableSelectionChanged();

private:
    void SelectDevice(const QString& sDevice);

    CDeviceDataModel* m_pModel;
    QSortFilterProxyModel* m_pFilter;
    QTreeView* m_pTable;
    QLineEdit* m_pFilterText;
    QLabel* m_pSelected;
    QPushButton* m_pAccept;
    QString m_sDevice;
};
