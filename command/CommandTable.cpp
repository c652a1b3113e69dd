#include "command/CommandTable.h"

#include "command/CommandRows.h"
#include "command/ScriptCalls.h"

#include <QHash>
#include <QPointer>
#include <array>

namespace {

/// Property of an action that scripts and the console may run.
constexpr const char* PROPERTY_AVAILABLE = "softKeyRole";

struct NAME_ALIAS {
    const char* sOld;
    const char* sCurrent;
};

constexpr NAME_ALIAS aAlias[] = {
    {"Trace", "Trace.Add"},
    {"Watch", "Watch.Add"},
    {"Window.SetNumberBase", "Window.SetDisplayFormat"},
    {"Edit.Break", "Break.Edit"},
    {"Project.SetPeripheralFile", "Project.AddSvdFile"},
    {"Project.SetRootPath", "Project.AddRootPath"},
    {"Debug.SetNextStmnt", "Debug.SetNextStatement"},
    {"Project.SetTIFScanChain", "Project.SetJTAGConfig"},
};

std::array<COMMAND_ROW, CMD_COUNT> BuildRows() {
    std::array<COMMAND_ROW, CMD_COUNT> aRow;
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const COMMAND_ROW_DATA& Data = CommandRowData[Id];
        aRow[Id] = {Data.Id,
                    Data.IsPublic,
                    Data.EchoAfter,
                    GetScriptHandler(Data.Id),
                    QString::fromLatin1(Data.sHotKey),
                    QString::fromLatin1(Data.sPrototype),
                    QString::fromLatin1(Data.sArgNames),
                    QString::fromLatin1(Data.sLongHelp),
                    QString::fromLatin1(Data.sShortHelp),
                    QString::fromLatin1(Data.sActionName),
                    nullptr};
    }
    return aRow;
}

std::array<COMMAND_ROW, CMD_COUNT>& Rows() {
    static std::array<COMMAND_ROW, CMD_COUNT> aRow = BuildRows();
    return aRow;
}

struct COMMAND_STATE {
    COMMAND_HOST Host;
    QHash<const QAction*, U32> IdOfAction;
    QHash<U32, I32> Results;
    QStringList UnknownNames;
};

COMMAND_STATE& GetState() {
    static COMMAND_STATE State;
    return State;
}

/// The parameter declarations of a prototype.
QStringList ParamsOf(U32 Id) {
    const QString sPrototype = CCommandTable::GetRow(Id).Prototype;
    const qsizetype Open = sPrototype.indexOf(QLatin1Char('('));
    const qsizetype Close = sPrototype.lastIndexOf(QLatin1Char(')'));
    if (Open < 0 || Close < Open) {
        return {};
    }
    const QString sParams = sPrototype.mid(Open + 1, Close - Open - 1).trimmed();
    if (sParams.isEmpty() || sParams == QLatin1String("void")) {
        return {};
    }
    return sParams.split(QLatin1Char(','));
}

int FindRowOfAction(const QString& sName) {
    for (const COMMAND_ROW& Row : Rows()) {
        if (!Row.ActionName.isEmpty() && Row.ActionName.compare(sName, Qt::CaseInsensitive) == 0) {
            return static_cast<int>(Row.Id);
        }
    }
    return -1;
}

void CopyEnabledState(const QAction* pFrom, QAction* pTo) {
    pTo->setProperty(PROPERTY_AVAILABLE, pFrom->property(PROPERTY_AVAILABLE));
    pTo->setEnabled(pFrom->isEnabled());
}

void LinkAction(COMMAND_ROW& Row, QAction* pAction) {
    pAction->setShortcut(QKeySequence::fromString(Row.HotKey, QKeySequence::PortableText));
    pAction->setStatusTip(Row.LongHelp);
    QString sToolTip = Row.ShortHelp;
    if (!pAction->shortcut().isEmpty()) {
        sToolTip += QStringLiteral(" (%1)").arg(pAction->shortcut().toString(QKeySequence::NativeText));
    }
    pAction->setToolTip(sToolTip);
    if (Row.pAction != nullptr && Row.pAction != pAction) {
        CopyEnabledState(pAction, Row.pAction);
    }
    Row.pAction = pAction;
    GetState().IdOfAction.insert(pAction, Row.Id);
}

/// An action that dies takes itself out of the table, so that no row points at freed memory.
void WatchLifetime(QAction* pAction) {
    QObject::connect(pAction, &QObject::destroyed, pAction, [pAction] {
        const int Id = CCommandTable::GetIdOfAction(pAction);
        if (Id >= 0) {
            COMMAND_ROW& Row = Rows()[static_cast<size_t>(Id)];
            if (Row.pAction == pAction) {
                Row.pAction = nullptr;
            }
            GetState().IdOfAction.remove(pAction);
        }
    });
}

QStringList ToTexts(const QVariantList& Args) {
    QStringList Texts;
    for (const QVariant& Arg : Args) {
        if (Arg.isValid()) {
            Texts.append(Arg.toString());
        }
    }
    return Texts;
}

} // namespace

namespace CCommandTable {

void SetHost(const COMMAND_HOST& Host) { GetState().Host = Host; }
const COMMAND_HOST& GetHost() { return GetState().Host; }

COMMAND_ROW GetRow(U32 Id) { return Id < CMD_COUNT ? Rows()[Id] : COMMAND_ROW(); }

QString GetName(U32 Id) {
    const QString sPrototype = GetRow(Id).Prototype;
    const QString sHead = sPrototype.left(sPrototype.indexOf(QLatin1Char('('))).trimmed();
    return sHead.mid(sHead.lastIndexOf(QLatin1Char(' ')) + 1);
}

QString GetAlias(const QString& sName) {
    for (const NAME_ALIAS& Alias : aAlias) {
        if (sName.compare(QLatin1String(Alias.sCurrent), Qt::CaseInsensitive) == 0) {
            return QString::fromLatin1(Alias.sOld);
        }
        if (sName.compare(QLatin1String(Alias.sOld), Qt::CaseInsensitive) == 0) {
            return QString::fromLatin1(Alias.sCurrent);
        }
    }
    return {};
}

QString GetAlias(U32 Id) { return GetAlias(GetName(Id)); }

int GetParamCount(U32 Id) { return static_cast<int>(ParamsOf(Id).size()); }

bool IsTextParam(U32 Id, int Index) {
    const QStringList Params = ParamsOf(Id);
    return Index >= 0 && Index < Params.size() && Params[Index].contains(QLatin1String("char")) &&
           Params[Index].contains(QLatin1Char('*'));
}

QAction* GetAction(U32 Id) { return Id < CMD_COUNT ? Rows()[Id].pAction : nullptr; }

int GetIdOfAction(const QAction* pAction) {
    const auto It = GetState().IdOfAction.constFind(pAction);
    return It == GetState().IdOfAction.constEnd() ? -1 : static_cast<int>(It.value());
}

bool IsAvailable(U32 Id, bool IsGui) {
    const QAction* pAction = GetAction(Id);
    if (pAction == nullptr) {
        return false;
    }
    return IsGui ? pAction->isEnabled() : pAction->property(PROPERTY_AVAILABLE).toInt() == 1;
}

void SetCommandEnabled(U32 Id, bool IsGuiEnabled, bool IsCommandEnabled) {
    if (QAction* pAction = GetAction(Id)) {
        pAction->setEnabled(IsGuiEnabled);
        pAction->setProperty(PROPERTY_AVAILABLE, IsCommandEnabled ? 1 : 0);
    }
}

void SetArgs(U32 Id, const QStringList& Args) {
    if (QAction* pAction = GetAction(Id)) {
        pAction->setData(Args);
    }
}

QStringList GetArgs(U32 Id) {
    const QAction* pAction = GetAction(Id);
    QStringList Args;
    if (pAction != nullptr && pAction->data().typeId() == QMetaType::QStringList) {
        Args = pAction->data().toStringList();
    }
    return Args.replaceInStrings(QStringLiteral("\""), QString());
}

QString GetArg0(U32 Id) {
    const QStringList Args = GetArgs(Id);
    if (Args.size() != 1) {
        SetError(Id, QStringLiteral("wrong parameter count"));
        return {};
    }
    return Args.first();
}

void ClearArgs(U32 Id) {
    if (QAction* pAction = GetAction(Id)) {
        pAction->setData(QVariant());
        pAction->setWhatsThis(QString());
    }
}

void Cancel(U32 Id) {
    if (QAction* pAction = GetAction(Id)) {
        pAction->setData(0);
    }
}

bool IsCancelled(U32 Id) {
    const QAction* pAction = GetAction(Id);
    return pAction != nullptr && pAction->data().typeId() == QMetaType::Int && pAction->data().toInt() == 0;
}

bool CheckArgs(U32 Id, int Min) {
    if (GetAction(Id) == nullptr) {
        return true;
    }
    const int Max = GetParamCount(Id);
    const int Count = static_cast<int>(GetArgs(Id).size());
    if (Count >= (Min < 0 ? Max : Min) && Count <= Max) {
        return true;
    }
    SetError(Id, QStringLiteral("wrong parameter count"));
    return false;
}

void SetError(U32 Id, const QString& sText, const QString& sDetail) {
    QAction* pAction = GetAction(Id);
    if (pAction == nullptr) {
        return;
    }
    const bool IsDetailed = !sDetail.isEmpty() && GetArgs(Id).size() > 1;
    pAction->setWhatsThis(IsDetailed ? sText + QStringLiteral(": ") + sDetail : sText);
}

QString GetError(U32 Id) {
    const QAction* pAction = GetAction(Id);
    return pAction != nullptr ? pAction->whatsThis() : QString();
}

void SetResult(U32 Id, I32 Value) { GetState().Results.insert(Id, Value); }
I32 GetResult(U32 Id) { return GetState().Results.value(Id, 0); }

int Trigger(U32 Id) {
    if (Id >= CMD_COUNT) {
        return -1;
    }
    QAction* pAction = GetAction(Id);
    if (!IsAvailable(Id, false)) {
        if (GetHost().pfReportDisabled != nullptr) {
            GetHost().pfReportDisabled(GetName(Id));
        }
        return -1;
    }
    // QAction::trigger() refuses a disabled action, but a row may be closed to clicks and open to commands.
    // The state is lifted for the call without telling the menus and tool bars.
    if (pAction->isEnabled()) {
        pAction->trigger();
        return 0;
    }
    pAction->blockSignals(true);
    pAction->setEnabled(true);
    pAction->blockSignals(false);
    const QPointer<QAction> pGuard(pAction);
    pAction->trigger();
    if (pGuard != nullptr) {
        pAction->setEnabled(false);
    }
    return 0;
}

I32 Execute(U32 Id, const QVariantList& Args) {
    if (Id >= CMD_COUNT) {
        return -1;
    }
    const QStringList Texts = ToTexts(Args);
    if (!Texts.isEmpty()) {
        SetArgs(Id, Texts);
    }
    return Trigger(Id) == 0 ? GetResult(Id) : -1;
}

void PrepareArgs(U32 Id, const QVariantList& Args) {
    QStringList Texts = ToTexts(Args);
    for (QString& sText : Texts) {
        sText.remove(QChar(0x2008));
        if (sText.size() >= 2 && sText.startsWith(QLatin1Char('"')) && sText.endsWith(QLatin1Char('"'))) {
            sText = sText.mid(1, sText.size() - 2);
        }
    }
    if (!Texts.isEmpty()) {
        SetArgs(Id, Texts);
    }
}

void LinkActions(QObject* pWidget) {
    const QList<QAction*> Actions = pWidget->findChildren<QAction*>();
    for (QAction* pAction : Actions) {
        const QString sName = pAction->objectName();
        if (sName.isEmpty()) {
            continue;
        }
        const int Id = FindRowOfAction(sName);
        if (Id < 0) {
            if (!GetState().UnknownNames.contains(sName)) {
                GetState().UnknownNames.append(sName);
            }
            continue;
        }
        if (!GetState().IdOfAction.contains(pAction)) {
            // A fresh action is open to commands until UpdateActions() says otherwise.
            pAction->setProperty(PROPERTY_AVAILABLE, 1);
            WatchLifetime(pAction);
        }
        LinkAction(Rows()[static_cast<size_t>(Id)], pAction);
    }
}

void UnlinkActions(QObject* pWidget) {
    const QList<QAction*> Actions = pWidget->findChildren<QAction*>();
    for (QAction* pAction : Actions) {
        const int Id = FindRowOfAction(pAction->objectName());
        if (Id >= 0 && Rows()[static_cast<size_t>(Id)].pAction == pAction) {
            Rows()[static_cast<size_t>(Id)].pAction = nullptr;
        }
        GetState().IdOfAction.remove(pAction);
    }
}

QStringList GetUnknownActionNames() {
    QStringList Names = GetState().UnknownNames;
    Names.sort();
    return Names;
}

} // namespace CCommandTable
