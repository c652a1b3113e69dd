#include "app/dialogs/DeviceDataModel.h"

namespace {

constexpr const char* aTitle[CDeviceDataModel::NUM_COLUMNS] = {"Manufacturer", "Device",     "Core",
                                                               "NumCores",     "Flash Size", "RAM Size"};

} // namespace

QString FormatMemorySize(U32 NumBytes) {
    constexpr U32 BYTES_PER_KB = 1024;
    constexpr U32 KB_PER_MB = 1000;
    const U32 NumKB = NumBytes / BYTES_PER_KB;
    return NumKB >= KB_PER_MB ? QStringLiteral("%1 MB").arg(NumKB / KB_PER_MB) : QStringLiteral("%1 KB").arg(NumKB);
}

CDeviceDataModel::CDeviceDataModel(QObject* pParent)
    : QAbstractTableModel(pParent), m_Devices(CDevice::Get().GetKnownDevices()) {
    setObjectName(QStringLiteral("DeviceDataModel"));
}

int CDeviceDataModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : static_cast<int>(m_Devices.size());
}

int CDeviceDataModel::columnCount(const QModelIndex& Parent) const { return Parent.isValid() ? 0 : NUM_COLUMNS; }

int CDeviceDataModel::FindDevice(const QString& sName) const {
    for (qsizetype i = 0; i < m_Devices.size(); ++i) {
        if (m_Devices[i].sName.compare(sName, Qt::CaseInsensitive) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

QVariant CDeviceDataModel::data(const QModelIndex& Index, int Role) const {
    if (!Index.isValid() || (Role != Qt::DisplayRole && Role != SORT_ROLE && Role != Qt::TextAlignmentRole)) {
        return {};
    }
    if (Role == Qt::TextAlignmentRole) {
        return QVariant::fromValue(Qt::AlignVCenter |
                                   (Index.column() >= COL_NUM_CORES ? Qt::AlignRight : Qt::AlignLeft));
    }
    const DEVICE_ENTRY& Device = m_Devices[Index.row()];
    switch (Index.column()) {
    case COL_MANUFACTURER:
        return Device.sManufacturer;
    case COL_DEVICE:
        return Device.sName;
    case COL_CORE:
        return Device.sCore;
    case COL_NUM_CORES:
        return 1;
    case COL_FLASH_SIZE:
        return Role == SORT_ROLE ? QVariant(Device.FlashSize) : FormatMemorySize(Device.FlashSize);
    default:
        return Role == SORT_ROLE ? QVariant(Device.RamSize) : FormatMemorySize(Device.RamSize);
    }
}

QVariant CDeviceDataModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    const bool IsTitle =
        Orientation == Qt::Horizontal && Role == Qt::DisplayRole && Section >= 0 && Section < NUM_COLUMNS;
    return IsTitle ? QString::fromLatin1(aTitle[Section]) : QVariant();
}
