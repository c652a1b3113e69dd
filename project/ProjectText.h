#pragma once

#include <QString>
#include <QStringList>

/// Range of the body of OnProjectLoad in a project text: behind its "{" up to its "}". False, with a warning in the
/// log, if it can't be found.
bool FindProjectLoadBody(const QString& sText, qsizetype* pStart, qsizetype* pEnd);

/// The text with one line of each name removed from the body and the commands inserted behind the marker. False, with
/// the text as it was, if the body can't be found.
bool RewriteProjectText(QString* pText, const QStringList& NamesToRemove, const QString& sMarker,
                        const QStringList& Commands);

/// Name of the command in a script line: the text in front of the parenthesis.
QString CommandNameOfLine(const QString& sLine);
