#pragma once

// The text of a source file as the source viewer shows it: lines with tabs kept, and the colour runs of each line.
// No widgets; main thread.

#include "base/Types.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

/// A run of characters of a line in one colour of the colour table.
struct TEXT_RUN {
    int Start;
    int Length;
    int ColorId;
};

class CSourceDocument {
public:
    /// Reads the file as UTF-8. False, with the text in *pError, if it can't be read or is larger than 64 MiB.
    bool Load(const QString& sPath, QString* pError);

    QString GetPath() const { return m_sPath; }
    QString GetName() const;
    int GetNumLines() const { return static_cast<int>(m_Lines.size()); }
    /// Text of a line, 1 for the first; empty if out of range.
    QString GetLine(int Line) const;
    /// Colour runs of a line, without gaps; computed when first asked for.
    const QList<TEXT_RUN>& GetRuns(int Line);
    int GetMaxLineLength() const { return m_MaxLength; }
    bool HasChangedOnDisk() const;

private:
    void ColorUpTo(int Line);

    QString m_sPath;
    QDateTime m_Time;
    QStringList m_Lines;
    QList<QList<TEXT_RUN>> m_Runs; ///< of the lines coloured so far, from the first on
    bool m_IsInComment = false;    ///< at the end of the lines coloured so far
    int m_MaxLength = 0;
};

/// Expands tabs to the column width; width 0 removes them.
QString ExpandTabs(const QString& sText, int TabWidth);
/// Column of a character behind tab expansion.
int ColumnOfChar(const QString& sText, int Char, int TabWidth);
