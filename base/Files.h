#pragma once

// Files opened by a name that came from a user, a project or the settings: read only if they are regular files of a
// bounded size, replaced as a whole or not at all. Any thread.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <functional>

/// Empty, or why the name can't be read: "file not found", also for a folder, or "not a regular file" (a device, pipe
/// or socket).
QString CheckRegularFile(const QString& sPath);

/// Reads a regular file whole. Empty, or why not; more than MaxSize bytes are "file is too large".
QString ReadRegularFile(const QString& sPath, qint64 MaxSize, QByteArray* pData);

/// Replaces a file by the bytes, or creates it. Empty, or why it couldn't be written: then the old file is still there,
/// byte for byte, and nothing is left beside it. A link is followed. pfProgress hears the number of bytes written.
QString SaveFile(const QString& sPath, QByteArrayView Data, const std::function<void(qint64)>& pfProgress = {});
