#include "views/SourceDocument.h"

#include "base/Files.h"
#include "base/TextFormat.h"
#include "views/SourceColoring.h"

#include <QFileInfo>

bool CSourceDocument::Load(const QString& sPath, QString* pError) {
    constexpr qint64 MAX_FILE_SIZE = 64 * 1024 * 1024; // no source file; keeps a stray binary from filling memory
    QByteArray Bytes;
    *pError = ReadRegularFile(sPath, MAX_FILE_SIZE, &Bytes);
    if (!pError->isEmpty()) {
        return false;
    }
    TEXT_FORMAT Format;
    QString sText = DecodeText(Bytes, &Format);
    sText.remove(QLatin1Char('\r'));
    if (sText.endsWith(QLatin1Char('\n'))) {
        sText.chop(1);
    }
    m_sPath = sPath;
    m_Time = QFileInfo(sPath).lastModified();
    m_Lines = sText.split(QLatin1Char('\n'));
    m_Runs.clear();
    m_IsInComment = false;
    m_MaxLength = 0;
    for (const QString& sLine : std::as_const(m_Lines)) {
        m_MaxLength = qMax(m_MaxLength, static_cast<int>(sLine.size() + sLine.count(QLatin1Char('\t')) * 8));
    }
    return true;
}

QString CSourceDocument::GetName() const { return QFileInfo(m_sPath).fileName(); }

QString CSourceDocument::GetLine(int Line) const {
    return Line >= 1 && Line <= GetNumLines() ? m_Lines[Line - 1] : QString();
}

void CSourceDocument::ColorUpTo(int Line) {
    while (m_Runs.size() < Line) {
        m_Runs.append(ColorSourceLine(m_Lines[m_Runs.size()], &m_IsInComment));
    }
}

const QList<TEXT_RUN>& CSourceDocument::GetRuns(int Line) {
    static const QList<TEXT_RUN> Nothing;
    if (Line < 1 || Line > GetNumLines()) {
        return Nothing;
    }
    ColorUpTo(Line);
    return m_Runs[Line - 1];
}

bool CSourceDocument::HasChangedOnDisk() const {
    const QDateTime Time = QFileInfo(m_sPath).lastModified();
    return Time.isValid() && Time != m_Time;
}

int ColumnOfChar(const QString& sText, int Char, int TabWidth) {
    int Column = 0;
    for (int i = 0; i < Char && i < sText.size(); ++i) {
        if (sText[i] != QLatin1Char('\t')) {
            ++Column;
        } else if (TabWidth > 0) {
            Column += TabWidth - Column % TabWidth;
        }
    }
    return Column;
}

QString ExpandTabs(const QString& sText, int TabWidth) {
    if (!sText.contains(QLatin1Char('\t'))) {
        return sText;
    }
    QString sResult;
    for (const QChar c : sText) {
        if (c != QLatin1Char('\t')) {
            sResult += c;
        } else if (TabWidth > 0) {
            sResult += QString(TabWidth - sResult.size() % TabWidth, QLatin1Char(' '));
        }
    }
    return sResult;
}
