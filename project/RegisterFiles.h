#pragma once

// Which register description files belong to a core and to a device: those that the program brings along, by name.
// Main thread.

#include "base/Types.h"

#include <QString>
#include <QStringList>

/// File of a core's registers, by the core's name ("Cortex-M4"): the form with floating point if there is one. The
/// path begins with "$(InstallDir)" where it lies below the program's directory; empty if there is none.
QString GetSVDFileNameForCore(const QString& sCore);
/// File of a device's peripherals among those the program brings along, likewise: the first that is named for the
/// architecture of the core, else the first that is named for the device.
QString GetDefaultPeriphSVDFile(const QString& sDevice, U32 Core);
/// File of the registers of the configured device's core; empty if there is none.
QString GetDefaultCpuSvdFile();
/// Both files of a device of the probe library's table, as far as they exist.
QStringList GetDefaultSvdFiles(const QString& sDevice);
/// True if the file describes the registers of a core: its root element is "cpu".
bool IsCpuSvdFile(const QString& sPath);
