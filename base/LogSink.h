#pragma once

// What the program log and the console log share: a file that is opened empty and takes buffered lines.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <memory>

/// The file, truncated; null with the reason if it can't be opened or is no regular file.
std::unique_ptr<QFile> OpenSink(const QString& sPath, QString* pError);

/// Writes the buffer and empties it. Empty, or why the bytes didn't reach the file. A null file takes nothing.
QString WriteSink(QFile* pFile, QByteArray* pBuffer);
