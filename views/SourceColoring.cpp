#include "views/SourceColoring.h"

#include "settings/Colors.h"

#include <QSet>

namespace {

const QSet<QString>& GetKeywords() {
    static const QSet<QString> Keywords = {
        "alignas",  "asm",       "auto",      "bool",    "break",   "case",     "catch",   "char",      "class",
        "const",    "constexpr", "continue",  "default", "delete",  "do",       "double",  "else",      "enum",
        "explicit", "extern",    "false",     "float",   "for",     "friend",   "goto",    "if",        "inline",
        "int",      "long",      "namespace", "new",     "nullptr", "operator", "private", "protected", "public",
        "register", "return",    "short",     "signed",  "sizeof",  "static",   "struct",  "switch",    "template",
        "this",     "throw",     "true",      "try",     "typedef", "typename", "union",   "unsigned",  "using",
        "virtual",  "void",      "volatile",  "while",
    };
    return Keywords;
}

bool IsWordChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }

/// Position behind a quoted text that begins at Start.
int EndOfQuote(const QString& sLine, int Start) {
    const QChar Quote = sLine[Start];
    int i = Start + 1;
    while (i < sLine.size() && sLine[i] != Quote) {
        i += sLine[i] == QLatin1Char('\\') ? 2 : 1;
    }
    return qMin(i + 1, static_cast<int>(sLine.size()));
}

int EndOfComment(const QString& sLine, int Start, bool* pIsInComment) {
    const qsizetype End = sLine.indexOf(QLatin1String("*/"), Start);
    *pIsInComment = End < 0;
    return static_cast<int>(End < 0 ? sLine.size() : End + 2);
}

int EndOfWord(const QString& sLine, int Start) {
    int i = Start;
    while (i < sLine.size() && IsWordChar(sLine[i])) {
        ++i;
    }
    return i;
}

struct TOKEN {
    int End;
    int ColorId;
};

TOKEN NextToken(const QString& sLine, int Pos, bool* pIsInComment) {
    const QChar c = sLine[Pos];
    if (sLine.mid(Pos, 2) == QLatin1String("//")) {
        return {static_cast<int>(sLine.size()), COLOR_SYNTAX_COMMENT};
    }
    if (sLine.mid(Pos, 2) == QLatin1String("/*")) {
        return {EndOfComment(sLine, Pos + 2, pIsInComment), COLOR_SYNTAX_COMMENT};
    }
    if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
        return {EndOfQuote(sLine, Pos), COLOR_SYNTAX_STRING};
    }
    if (c == QLatin1Char('#') && sLine.left(Pos).trimmed().isEmpty()) {
        return {EndOfWord(sLine, Pos + 1), COLOR_SYNTAX_DIRECTIVE};
    }
    if (!IsWordChar(c)) {
        return {Pos + 1, COLOR_SYNTAX_TEXT};
    }
    const int End = EndOfWord(sLine, Pos);
    if (c.isDigit()) {
        return {End, COLOR_SYNTAX_INTEGER};
    }
    return {End, GetKeywords().contains(sLine.mid(Pos, End - Pos)) ? COLOR_SYNTAX_KEYWORD : COLOR_SYNTAX_TEXT};
}

} // namespace

QList<TEXT_RUN> ColorSourceLine(const QString& sLine, bool* pIsInComment) {
    QList<TEXT_RUN> Runs;
    int Pos = 0;
    if (*pIsInComment && !sLine.isEmpty()) {
        Pos = EndOfComment(sLine, 0, pIsInComment);
        Runs.append({0, Pos, COLOR_SYNTAX_COMMENT});
    }
    while (Pos < sLine.size()) {
        const TOKEN Token = NextToken(sLine, Pos, pIsInComment);
        if (!Runs.isEmpty() && Runs.last().ColorId == Token.ColorId) {
            Runs.last().Length += Token.End - Pos;
        } else {
            Runs.append({Pos, Token.End - Pos, Token.ColorId});
        }
        Pos = Token.End;
    }
    return Runs;
}
