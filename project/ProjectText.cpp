#include "project/ProjectText.h"

namespace {

constexpr const char* LOAD_FUNCTION = "OnProjectLoad";

/// Position of the "}" that matches the "{" in front of Start; -1 if there is none.
qsizetype FindMatchingBrace(const QString& sText, qsizetype Start) {
    int Depth = 1;
    for (qsizetype i = Start; i < sText.size(); ++i) {
        Depth += sText[i] == QLatin1Char('{') ? 1 : (sText[i] == QLatin1Char('}') ? -1 : 0);
        if (Depth == 0) {
            return i;
        }
    }
    return -1;
}

bool RemoveLine(QString* pText, const QString& sName) {
    qsizetype Start = 0;
    qsizetype End = 0;
    if (!FindProjectLoadBody(*pText, &Start, &End)) {
        return false;
    }
    const qsizetype Found = pText->indexOf(sName, Start);
    if (Found < 0 || Found >= End) {
        return true;
    }
    const qsizetype LineStart = pText->lastIndexOf(QLatin1Char('\n'), Found);
    qsizetype LineEnd = pText->indexOf(QLatin1Char('\n'), Found);
    LineEnd = LineEnd < 0 || LineEnd > End ? End : LineEnd;
    if (LineStart >= Start) {
        pText->remove(LineStart, LineEnd - LineStart);
    } else {
        pText->remove(Start, LineEnd - Start); // the body begins on the line of its "{"
    }
    return true;
}

qsizetype FindInsertPos(const QString& sText, qsizetype Start, const QString& sMarker) {
    const qsizetype Marker = sText.indexOf(sMarker, Start);
    if (Marker < 0) {
        return Start;
    }
    const qsizetype Behind = Marker + sMarker.size();
    if (sMarker.endsWith(QLatin1Char('\n'))) {
        return Behind;
    }
    const qsizetype NewLine = sText.indexOf(QLatin1Char('\n'), Behind);
    return NewLine < 0 ? Start : NewLine + 1;
}

} // namespace

bool FindProjectLoadBody(const QString& sText, qsizetype* pStart, qsizetype* pEnd) {
    const qsizetype Name = sText.indexOf(QLatin1String(LOAD_FUNCTION));
    const qsizetype Open = Name < 0 ? -1 : sText.indexOf(QLatin1Char('{'), Name);
    if (Open < 0) {
        qWarning("Could not determine text position of function body start");
        return false;
    }
    const qsizetype Close = FindMatchingBrace(sText, Open + 1);
    if (Close < 0) {
        qWarning("Could not determine text position of function body end");
        return false;
    }
    *pStart = Open + 1;
    *pEnd = Close;
    return true;
}

bool RewriteProjectText(QString* pText, const QStringList& NamesToRemove, const QString& sMarker,
                        const QStringList& Commands) {
    QString sText = *pText;
    for (const QString& sName : NamesToRemove) {
        if (!RemoveLine(&sText, sName)) {
            return false;
        }
    }
    qsizetype Start = 0;
    qsizetype End = 0;
    if (!FindProjectLoadBody(sText, &Start, &End)) {
        return false;
    }
    qsizetype Pos = FindInsertPos(sText, Start, sMarker);
    if (Pos == Start && !sText.mid(Start).startsWith(QLatin1Char('\n'))) {
        sText.insert(Pos++, QLatin1Char('\n'));
    } else if (Pos == Start) {
        ++Pos; // the lines begin below the "{"
    }
    for (const QString& sCommand : Commands) {
        const QString sLine = QStringLiteral("  ") + sCommand + QLatin1Char('\n');
        sText.insert(Pos, sLine);
        Pos += sLine.size();
    }
    *pText = sText;
    return true;
}

QString CommandNameOfLine(const QString& sLine) { return sLine.left(sLine.indexOf(QLatin1Char('('))).trimmed(); }
