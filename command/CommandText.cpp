#include "command/CommandTable.h"

#include "base/ConsoleRing.h"
#include "command/TextTable.h"

#include <QMap>

// The textual side of the command table: console lines, echoes, alternative keys and the help table.

namespace {

constexpr QChar SEPARATOR_STAND_IN = QLatin1Char('^'); ///< stands for separators inside quotes during a split

struct ALTERNATIVE_KEY {
    const char* sHotKey;
    const char* sAlternative;
};

constexpr ALTERNATIVE_KEY aAlternativeKey[] = {{"Ctrl++", "Ctrl+="}, {"Alt++", "Alt+="}, {"Ctrl+F5", "F6"}};

QString Unquote(const QString& sText) {
    const QString sTrimmed = sText.trimmed();
    if (sTrimmed.size() >= 2 && sTrimmed.startsWith(QLatin1Char('"')) && sTrimmed.endsWith(QLatin1Char('"'))) {
        return sTrimmed.mid(1, sTrimmed.size() - 2);
    }
    return sTrimmed;
}

/// Splits at the separator outside double quotes; empty parts stay.
QStringList SplitArgs(const QString& sText, QChar Separator) {
    QString sMasked = sText;
    QList<qsizetype> Masked;
    bool IsInQuotes = false;
    for (qsizetype i = 0; i < sMasked.size(); ++i) {
        if (sMasked[i] == QLatin1Char('"')) {
            IsInQuotes = !IsInQuotes;
        } else if (IsInQuotes && sMasked[i] == Separator) {
            sMasked[i] = SEPARATOR_STAND_IN;
            Masked.append(i);
        }
    }
    QStringList Parts;
    qsizetype Start = 0;
    for (const QString& sPart : sMasked.split(Separator)) {
        QString sArg = sPart;
        for (const qsizetype Pos : Masked) {
            if (Pos >= Start && Pos < Start + sPart.size()) {
                sArg[Pos - Start] = Separator;
            }
        }
        Parts.append(Unquote(sArg));
        Start += sPart.size() + 1;
    }
    return Parts;
}

QString RenderText(const QString& sArg) {
    QString sText = sArg;
    if (CCommandTable::GetHost().pfCanonicalLocation != nullptr) {
        const QString sLocation = CCommandTable::GetHost().pfCanonicalLocation(sArg);
        sText = sLocation.isEmpty() ? sArg : sLocation;
    }
    return QLatin1Char('"') + sText.remove(QLatin1Char('"')) + QLatin1Char('"');
}

QString RenderNumber(const QString& sArg) {
    if (const TEXT_ROW* pRow = FindTextRow(sArg)) {
        return QString::fromLatin1(pRow->sName);
    }
    bool IsNumber = false;
    sArg.toULongLong(&IsNumber, 0);
    I64 Value = 0;
    if (!IsNumber && CCommandTable::GetHost().pfEvaluate != nullptr &&
        CCommandTable::GetHost().pfEvaluate(sArg, &Value)) {
        return QString::number(Value);
    }
    return sArg;
}

QString HelpLine(const QString& sName, const QString& sArgs, const QString& sHotKey, const QString& sHelp) {
    constexpr int COLUMN_ARGS = 29;
    constexpr int COLUMN_HOT_KEY = 52;
    constexpr int COLUMN_HELP = 68;
    QString sLine = sName.leftJustified(COLUMN_ARGS);
    sLine = (sLine + sArgs).leftJustified(COLUMN_HOT_KEY);
    sLine = (sLine + sHotKey.trimmed()).leftJustified(COLUMN_HELP);
    return sLine + sHelp.trimmed();
}

} // namespace

namespace CCommandTable {

void SplitLine(const QString& sLine, QString* pName, QStringList* pArgs) {
    const QString sTrimmed = sLine.trimmed();
    const qsizetype Open = sTrimmed.indexOf(QLatin1Char('('));
    pArgs->clear();
    QString sArgs;
    QChar Separator = QLatin1Char(',');
    if (Open >= 0) {
        *pName = sTrimmed.left(Open).trimmed();
        const qsizetype Close = sTrimmed.lastIndexOf(QLatin1Char(')'));
        sArgs = Close > Open ? sTrimmed.mid(Open + 1, Close - Open - 1).trimmed() : QString();
    } else {
        const qsizetype Blank = sTrimmed.indexOf(QLatin1Char(' '));
        *pName = Blank < 0 ? sTrimmed : sTrimmed.left(Blank);
        sArgs = Blank < 0 ? QString() : sTrimmed.mid(Blank + 1).trimmed();
        Separator = QLatin1Char(' ');
    }
    if (pName->endsWith(QLatin1Char(';'))) {
        pName->chop(1);
    }
    if (sArgs.isEmpty()) {
        return;
    }
    *pArgs = SplitArgs(sArgs, Separator);
    if (pArgs->size() == 1 && pArgs->first().compare(QLatin1String("void"), Qt::CaseInsensitive) == 0) {
        pArgs->clear();
    }
}

COMMAND_ROW Find(const QString& sLine) {
    QString sName;
    QStringList Args;
    SplitLine(sLine, &sName, &Args);
    if (sName.isEmpty()) {
        return {};
    }
    QMap<int, U32> ByParamCount;
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const QString sRowName = GetName(Id);
        if (sRowName.isEmpty()) {
            continue;
        }
        if (sName.compare(sRowName, Qt::CaseInsensitive) == 0 ||
            sName.compare(GetAlias(sRowName), Qt::CaseInsensitive) == 0) {
            ByParamCount.insert(GetParamCount(Id), Id);
        }
    }
    if (ByParamCount.isEmpty()) {
        return {};
    }
    const U32 Id = ByParamCount.value(static_cast<int>(Args.size()), ByParamCount.last());
    ClearArgs(Id);
    if (!Args.isEmpty()) {
        SetArgs(Id, Args);
    }
    return GetRow(Id);
}

QString RenderCommand(U32 Id) {
    const QString sName = GetName(Id);
    if (sName.isEmpty()) {
        return {};
    }
    QStringList Rendered;
    const QAction* pAction = GetAction(Id);
    if (pAction != nullptr && pAction->data().typeId() == QMetaType::QStringList) {
        const QStringList Args = pAction->data().toStringList();
        for (int i = 0; i < Args.size(); ++i) {
            Rendered.append(IsTextParam(Id, i) ? RenderText(Args[i]) : RenderNumber(Args[i]));
        }
    }
    if (Rendered.isEmpty()) {
        return sName + QStringLiteral("();");
    }
    return sName + QStringLiteral(" (") + Rendered.join(QStringLiteral(", ")) + QStringLiteral(");");
}

QString RenderWith(U32 Id, const QVariantList& Args) {
    for (const QVariant& Arg : Args) {
        const QString sText = Arg.toString();
        if (sText.contains(QLatin1Char('"')) || sText.contains(QLatin1Char('\n'))) {
            ConsolePrintError(QStringLiteral("A project can't hold a quotation mark or a line end, left out: ") +
                              sText);
            return {};
        }
    }
    PrepareArgs(Id, Args);
    QString sLine = RenderCommand(Id);
    ClearArgs(Id);
    return sLine;
}

QList<U32> FindByAlternativeKey(const QString& sKey) {
    QList<U32> Ids;
    for (const ALTERNATIVE_KEY& Key : aAlternativeKey) {
        if (sKey != QLatin1String(Key.sAlternative)) {
            continue;
        }
        for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
            if (GetRow(Id).HotKey == QLatin1String(Key.sHotKey)) {
                Ids.append(Id);
            }
        }
    }
    return Ids;
}

QStringList ListCommands() {
    QStringList Lines;
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const COMMAND_ROW Row = GetRow(Id);
        const QString sName = GetName(Id);
        if (Row.IsPublic != 0 && Row.pAction != nullptr && !sName.isEmpty()) {
            Lines.append(HelpLine(sName, Row.ArgNames, Row.HotKey, Row.LongHelp));
        }
    }
    Lines.sort();
    const QString sRule(150, QLatin1Char('-'));
    Lines.prepend(sRule);
    Lines.prepend(HelpLine(QStringLiteral("Command"), QStringLiteral("Arguments"), QStringLiteral("Hotkey"),
                           QStringLiteral("Description")));
    Lines.prepend(sRule);
    return Lines;
}

} // namespace CCommandTable
