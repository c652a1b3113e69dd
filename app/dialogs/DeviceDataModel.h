#pragma once

// The devices that the probe library knows, as a table. Main thread.

#include "device/Device.h"

#include <QAbstractTableModel>

class CDeviceDataModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum COLUMN : int {
        COL_MANUFACTURER,
        COL_DEVICE,
        COL_CORE,
        COL_NUM_CORES,
        COL_FLASH_SIZE,
        COL_RAM_SIZE,
        NUM_COLUMNS
    };
    static constexpr int SORT_ROLE = Qt::UserRole; ///< texts, and sizes as numbers

    /// Reads the device table once.
    explicit CDeviceDataModel(QObject* pParent);

    int rowCount(const QModelIndex& Parent = {}) const override;
    int columnCount(const QModelIndex& Parent = {}) const override;
    QVariant data(const QModelIndex& Index, int Role) const override;
    QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;
    const DEVICE_ENTRY& GetDevice(int Row) const { return m_Devices[Row]; }
    /// Row of a device, ignoring case; -1 if there is none.
    int FindDevice(const QString& sName) const;

private:
    QList<DEVICE_ENTRY> m_Devices;
};

/// From 1000 KB on in MB of 1000 KB, below in KB of 1024 bytes; both numbers are cut, not rounded.
QString FormatMemorySize(U32 NumBytes);
