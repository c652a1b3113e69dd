#pragma once

#include <QString>
#include <QStringList>

/// Range of the body of OnProjectLoad in a project text: behind its "{" up to its "}". False, with a warning in the
/// log, if it can't be found.
bool FindProjectLoadBody(const QString& sText, qsizetype* pStart, qsizetype* pEnd);

/// True if the body of OnProjectLoad calls the command.
bool HasProjectCommand(const QString& sText, const QString& sName);

/// The text with one call of each name removed from the body and the commands inserted behind the marker: a text that
/// ends a line, or the name of a command. Nothing else of the text goes, also where statements share a line; comments
/// and strings are no calls. False, with the text as it was, if the body can't be found.
bool RewriteProjectText(QString* pText, const QStringList& NamesToRemove, const QString& sMarker,
                        const QStringList& Commands);

/// Name of the command in a script line: the text in front of the parenthesis.
QString CommandNameOfLine(const QString& sLine);
