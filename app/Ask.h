#pragma once

// Questions and notices in modal boxes. A session without a screen has nobody to answer: there the text goes to the
// console and the default answer is taken. Main thread.

#include <QMessageBox>
#include <QString>
#include <QStringList>

/// True on the offscreen and minimal platforms.
bool IsUnattended();

QMessageBox::StandardButton AskUser(const QString& sTitle, const QString& sText, QMessageBox::StandardButtons Buttons,
                                    QMessageBox::StandardButton Default, const char* sIcon = nullptr);

/// A list of problems between a head and a closing text. Open shows nothing by itself: the caller acts and asks again.
QMessageBox::StandardButton ShowWarnings(const QString& sTitle, const QString& sHead, const QStringList& List,
                                         const QString& sClosing, QMessageBox::StandardButtons Buttons,
                                         QMessageBox::StandardButton Default);
