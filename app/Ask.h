#pragma once

// Questions and notices in modal boxes. A session without a screen has nobody to answer: there the text goes to the
// console and the default answer is taken. Main thread.

#include <QMessageBox>
#include <QString>
#include <QStringList>
#include <functional>

/// True on the offscreen and minimal platforms.
bool IsUnattended();

/// Answers the boxes of an unattended session, by title and default answer; null: the default answers are taken.
using ANSWER_SOURCE =
    std::function<QMessageBox::StandardButton(const QString& sTitle, QMessageBox::StandardButton Default)>;
void SetAnswerSource(const ANSWER_SOURCE& pfAnswer);

/// SuppressHours: see CMessageBox.
QMessageBox::StandardButton AskUser(const QString& sTitle, const QString& sText, QMessageBox::StandardButtons Buttons,
                                    QMessageBox::StandardButton Default, const char* sIcon = nullptr,
                                    int SuppressHours = 0);

/// Tells of a file that couldn't be written: on the console and, if the program is about to end, in a box.
void TellSaveFailed(const QString& sPath, const QString& sError, bool IsEnding);

/// A list of problems between a head and a closing text. Open shows nothing by itself: the caller acts and asks again.
QMessageBox::StandardButton ShowWarnings(const QString& sTitle, const QString& sHead, const QStringList& List,
                                         const QString& sClosing, QMessageBox::StandardButtons Buttons,
                                         QMessageBox::StandardButton Default);
