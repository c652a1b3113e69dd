#include "project/ProjectText.h"

#include <QList>
#include <QStringView>

namespace {

/// An identifier with its dots, a string with its quotes, or any other character; comments and space lie between them.
struct TOKEN {
    qsizetype Start;
    qsizetype End;
};

bool IsIdentChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('.'); }

/// Position behind the text, or the end.
qsizetype Behind(const QString& sText, const char* sFind, qsizetype From) {
    const qsizetype Found = sText.indexOf(QLatin1String(sFind), From);
    return Found < 0 ? sText.size() : Found + static_cast<qsizetype>(qstrlen(sFind));
}

/// A string lies on one line.
qsizetype EndOfString(const QString& sText, qsizetype Start) {
    qsizetype i = Start + 1;
    while (i < sText.size() && sText[i] != QLatin1Char('"') && sText[i] != QLatin1Char('\n')) {
        ++i;
    }
    return i < sText.size() && sText[i] == QLatin1Char('"') ? i + 1 : i;
}

QList<TOKEN> Tokenize(const QString& sText) {
    QList<TOKEN> Tokens;
    for (qsizetype i = 0; i < sText.size();) {
        const qsizetype Start = i;
        const QStringView Rest = QStringView(sText).mid(i);
        if (Rest.startsWith(QLatin1String("//"))) {
            i = Behind(sText, "\n", i);
        } else if (Rest.startsWith(QLatin1String("/*"))) {
            i = Behind(sText, "*/", i + 2);
        } else if (sText[i].isSpace()) {
            ++i;
        } else {
            ++i;
            if (sText[Start] == QLatin1Char('"')) {
                i = EndOfString(sText, Start);
            } else if (IsIdentChar(sText[Start])) {
                i += std::find_if_not(Rest.begin() + 1, Rest.end(), IsIdentChar) - (Rest.begin() + 1);
            }
            Tokens.append({Start, i});
        }
    }
    return Tokens;
}

class CProjectBody {
public:
    /// Finds the body of OnProjectLoad.
    explicit CProjectBody(const QString& sText) : m_sText(sText), m_Tokens(Tokenize(sText)) {
        int Depth = 0;
        for (qsizetype i = 0; i < m_Tokens.size() && m_First < 0; ++i) {
            Depth += DepthOf(i);
            if (Depth == 0 && Is(i, "OnProjectLoad")) {
                m_First = Find("{", i) + 1;
            }
        }
        Depth = 1;
        for (qsizetype i = m_First; m_First > 0 && i < m_Tokens.size() && m_Last < 0; ++i) {
            Depth += DepthOf(i);
            m_Last = Depth == 0 ? i : -1;
        }
    }
    bool HasStart() const { return m_First > 0; }
    bool HasEnd() const { return m_Last > 0; }
    qsizetype GetStart() const { return m_Tokens[m_First - 1].End; }
    qsizetype GetEnd() const { return m_Tokens[m_Last].Start; }
    /// First statement that calls the command; false if there is none.
    bool FindCall(const QString& sName, TOKEN* pStatement) const;

private:
    bool Is(qsizetype i, const char* sToken) const { return Text(i) == QLatin1String(sToken); }
    QStringView Text(qsizetype i) const {
        return QStringView(m_sText).mid(m_Tokens[i].Start, m_Tokens[i].End - m_Tokens[i].Start);
    }
    int DepthOf(qsizetype i) const { return Is(i, "{") ? 1 : (Is(i, "}") ? -1 : 0); }
    /// Index of the next such token; -1 if there is none.
    qsizetype Find(const char* sToken, qsizetype From) const {
        while (From < m_Tokens.size() && !Is(From, sToken)) {
            ++From;
        }
        return From < m_Tokens.size() ? From : -1;
    }

    QString m_sText;
    QList<TOKEN> m_Tokens;
    qsizetype m_First = -1; ///< first token behind the "{"; 0 without one
    qsizetype m_Last = -1;  ///< the "}"
};

bool CProjectBody::FindCall(const QString& sName, TOKEN* pStatement) const {
    for (qsizetype i = m_First; i + 1 < m_Last; ++i) {
        // What follows a condition belongs to it: without it the condition would take the next statement.
        const bool IsStatement = Is(i - 1, "{") || Is(i - 1, "}") || Is(i - 1, ";");
        const qsizetype Semicolon = Find(";", i);
        if (IsStatement && Text(i) == sName && Is(i + 1, "(") && Semicolon > 0 && Semicolon < m_Last) {
            *pStatement = {m_Tokens[i].Start, m_Tokens[Semicolon].End};
            return true;
        }
    }
    return false;
}

bool IsBlank(QStringView Text) { return Text.trimmed().isEmpty(); }

/// Takes a statement out, with its line if it has that for itself.
void RemoveStatement(QString* pText, const TOKEN& Statement) {
    const qsizetype LineStart = Statement.Start > 0 ? pText->lastIndexOf(QLatin1Char('\n'), Statement.Start - 1) : -1;
    const qsizetype LineEnd = pText->indexOf(QLatin1Char('\n'), Statement.End);
    const QStringView Text(*pText);
    const bool IsFirst = IsBlank(Text.mid(LineStart + 1, Statement.Start - LineStart - 1));
    if (LineStart >= 0 && LineEnd >= 0 && IsFirst && IsBlank(Text.mid(Statement.End, LineEnd - Statement.End))) {
        pText->remove(LineStart, LineEnd - LineStart);
        return;
    }
    qsizetype Start = Statement.Start;
    while (!IsFirst && (*pText)[Start - 1] == QLatin1Char(' ')) {
        --Start;
    }
    pText->remove(Start, Statement.End - Start);
}

/// Where new lines go: behind the marker, a whole text or the name of a command, or behind the "{".
qsizetype FindInsertPos(const QString& sText, const CProjectBody& Body, const QString& sMarker) {
    TOKEN Call{};
    if (!sMarker.endsWith(QLatin1Char('\n'))) {
        const qsizetype NewLine = Body.FindCall(sMarker, &Call) ? sText.indexOf(QLatin1Char('\n'), Call.End) : -1;
        return NewLine < 0 || NewLine >= Body.GetEnd() ? Body.GetStart() : NewLine + 1;
    }
    const qsizetype Marker = sText.indexOf(sMarker, Body.GetStart());
    return Marker < 0 || Marker >= Body.GetEnd() ? Body.GetStart() : Marker + sMarker.size();
}

/// Tells the log what is missing.
bool IsComplete(const CProjectBody& Body) {
    if (!Body.HasStart()) {
        qWarning("Could not determine text position of function body start");
    } else if (!Body.HasEnd()) {
        qWarning("Could not determine text position of function body end");
    }
    return Body.HasStart() && Body.HasEnd();
}

} // namespace

bool FindProjectLoadBody(const QString& sText, qsizetype* pStart, qsizetype* pEnd) {
    const CProjectBody Body(sText);
    if (!IsComplete(Body)) {
        return false;
    }
    *pStart = Body.GetStart();
    *pEnd = Body.GetEnd();
    return true;
}

bool HasProjectCommand(const QString& sText, const QString& sName) {
    const CProjectBody Body(sText);
    TOKEN Call{};
    return Body.HasStart() && Body.HasEnd() && Body.FindCall(sName, &Call);
}

bool RewriteProjectText(QString* pText, const QStringList& NamesToRemove, const QString& sMarker,
                        const QStringList& Commands) {
    QString sText = *pText;
    if (!IsComplete(CProjectBody(sText))) {
        return false;
    }
    for (const QString& sName : NamesToRemove) {
        TOKEN Call{};
        if (CProjectBody(sText).FindCall(sName, &Call)) {
            RemoveStatement(&sText, Call);
        }
    }
    const CProjectBody Body(sText);
    qsizetype Pos = FindInsertPos(sText, Body, sMarker);
    if (Pos == Body.GetStart() && !QStringView(sText).mid(Pos).startsWith(QLatin1Char('\n'))) {
        sText.insert(Pos++, QLatin1Char('\n'));
    } else if (Pos == Body.GetStart()) {
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
