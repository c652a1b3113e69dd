#include "script/JScript.h"

#include "base/ConsoleRing.h"
#include "base/Files.h"
#include "base/TextFormat.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "script/EventFunctions.h"
#include "script/Trans.h"
#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHash>
#include <cstring>
#include <memory>

namespace {

constexpr int MAX_CALL_LEVEL = 10; ///< event functions that may wait below a new one
constexpr int FIRST_PUMP_MS = 100; ///< a function that computes longer lets the window live
constexpr int PUMP_MS = 30;
constexpr int MAX_ERROR_SOURCE = 512;
constexpr qint64 MAX_SCRIPT_FILE_SIZE = 64 * 1024 * 1024; ///< more is no script

struct ALIGNED_HEAP {
    alignas(16) U8 aByte[SCRIPT_HEAP_SIZE];
};

struct SCRIPT_STATE {
    std::unique_ptr<ALIGNED_HEAP> pHeap;
    CTrans* pTrans = nullptr;
    QByteArray Text;
    size_t TextHash = 0;
    TEXT_FORMAT Format; ///< of the file that was read last
    QString FilePath;
    QString ErrorText;
    QString ErrorSource;
    I32 ErrorLine = -1;
    bool HasError = false;
    bool IsErrorTaken = false;
    bool HasDivisionError = false; ///< told by the innermost function
    bool CloseRequested = false;
    bool IsStopping = false;
    I32 CallLevel = 0;
    I32 CurrentFunction = -1;
};

SCRIPT_STATE& GetState() {
    static SCRIPT_STATE State;
    return State;
}

void SetError(const QString& sText, const QString& sSource, I32 Line) {
    SCRIPT_STATE& State = GetState();
    State.ErrorText = sText;
    State.ErrorSource = sSource;
    State.ErrorLine = Line;
    State.HasError = true;
    State.IsErrorTaken = false;
}

/// Error sink of the interpreter.
void OnError(const CTrans* pTrans) {
    const char* pEnd = std::strchr(pTrans->pLineStart, ';');
    qsizetype Length =
        pEnd != nullptr ? pEnd - pTrans->pLineStart + 1 : static_cast<qsizetype>(std::strlen(pTrans->pLineStart));
    Length = qMin<qsizetype>(Length, MAX_ERROR_SOURCE);
    SetError(QString::fromUtf8(pTrans->sError), QString::fromUtf8(pTrans->pLineStart, Length), pTrans->Line);
}

QElapsedTimer& PumpTimer() {
    static QElapsedTimer Timer;
    return Timer;
}

int& PumpInterval() {
    static int Ms = FIRST_PUMP_MS;
    return Ms;
}

/// Lets the window live while a function computes.
void OnStatements(CTrans*) {
    if (PumpTimer().elapsed() >= PumpInterval()) {
        PumpInterval() = PUMP_MS;
        QCoreApplication::processEvents(QEventLoop::AllEvents, PUMP_MS);
        PumpTimer().start();
    }
}

void (*pfRunHook)(bool IsRunning);

void SetRunning(bool IsRunning) {
    PumpTimer().start();
    PumpInterval() = FIRST_PUMP_MS;
    if (pfRunHook != nullptr) {
        pfRunHook(IsRunning);
    }
}

void AddConstants(CTrans* pTrans) {
    for (int i = 0; i < NUM_TEXT_ROWS; ++i) {
        const TEXT_ROW* pRow = GetTextRow(i);
        TransAddConstant(pTrans, pRow->sName, pRow->Value);
        const QByteArray Alias = GetTextRowAlias(pRow).toLatin1();
        if (!Alias.isEmpty()) {
            TransAddConstant(pTrans, Alias.constData(), pRow->Value);
        }
    }
    for (int i = 0; i < SYS_VAR_COUNT; ++i) {
        TransAddConstant(pTrans, GetSysVar(i)->sName, i);
    }
    for (const COLOR_ROW& Row : aColorRow) {
        TransAddConstant(pTrans, Row.sName, static_cast<I32>(Row.Id));
    }
    for (const FONT_ROW& Row : aFontRow) {
        TransAddConstant(pTrans, Row.sName, Row.Id);
    }
}

void AddApi(CTrans* pTrans, const QString& sPrototype, const COMMAND_ROW& Row) {
    if (TransAddApiFunction(pTrans, sPrototype.toLatin1().constData(), Row.pfHandler) != 0) {
        qWarning("Error registering API function for %s", qPrintable(Row.ActionName));
        pTrans->HasError = 0;
    }
}

void AddCommands(CTrans* pTrans) {
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const COMMAND_ROW Row = CCommandTable::GetRow(Id);
        if (Row.pfHandler == nullptr) {
            continue;
        }
        AddApi(pTrans, Row.Prototype, Row);
        const QString sAlias = CCommandTable::GetAlias(Id);
        if (!sAlias.isEmpty()) {
            QString sPrototype = Row.Prototype;
            AddApi(pTrans,
                   sPrototype.replace(CCommandTable::GetName(Id) + QLatin1String(" ("), sAlias + QLatin1String(" (")),
                   Row);
        }
    }
}

int FailLoad(const char* sLog) {
    SCRIPT_STATE& State = GetState();
    qDebug("%s", sLog);
    State.pTrans = nullptr;
    State.pHeap.reset();
    State.Text.clear();
    State.HasError = true;
    return -1;
}

/// Empty, or why the file can't be taken.
QString ReadFile(const QString& sPath, QString* pText, TEXT_FORMAT* pFormat) {
    QByteArray Bytes;
    const QString sError = ReadRegularFile(sPath, MAX_SCRIPT_FILE_SIZE, &Bytes);
    if (!sError.isEmpty()) {
        return sError;
    }
    if (Bytes.contains('\0')) {
        return QStringLiteral("file is not a text");
    }
    *pText = DecodeText(Bytes, pFormat);
    return {};
}

/// The last function has ended: a stop was for those that ran.
void EndStop() {
    SCRIPT_STATE& State = GetState();
    if (State.IsStopping && !State.CloseRequested && State.pTrans != nullptr) {
        State.pTrans->DoStop = 0;
        ConsolePrintError(QStringLiteral("Script stopped"));
    }
    State.IsStopping = false;
}

int Run(int Id, const EVENT_FUNCTION& Function) {
    SCRIPT_STATE& State = GetState();
    const QByteArray Name = ScriptGetFunctionName(Id).toLatin1();
    const I32 OuterFunction = State.CurrentFunction;
    CTrans* pTrans = State.pTrans; // closing leaves it in place
    if (++State.CallLevel == 1) {
        SetRunning(true);
    }
    State.CurrentFunction = Id;
    const int Result = TransRunFunction(pTrans, Name.constData());
    if (Result == -1 && pTrans->IsDivisionByZero != 0 && pTrans == State.pTrans && !State.HasDivisionError) {
        SetError(QStringLiteral("Error in script function %1").arg(QLatin1String(Function.sPrototype)), QString(), -1);
        State.HasDivisionError = true;
    }
    State.CurrentFunction = OuterFunction;
    if (--State.CallLevel == 0) {
        EndStop();
        SetRunning(false);
    }
    return Result;
}

} // namespace

int ScriptOpenText(const QString& sText) {
    SCRIPT_STATE& State = GetState();
    if (State.CallLevel != 0) {
        qWarning("A script function runs: its text isn't replaced.");
        return -1;
    }
    if (State.pTrans != nullptr) {
        const QString sPath = State.FilePath;
        ScriptClose();
        State.FilePath = sPath;
    }
    State.ErrorText.clear();
    State.ErrorSource.clear();
    State.ErrorLine = -1;
    if (sText.isEmpty()) {
        SetError(QStringLiteral("empty file"), QString(), -1);
        qDebug("Script file not parsed. Empty script text");
        return -1;
    }
    State.pHeap.reset(new (std::nothrow) ALIGNED_HEAP);
    State.Text = sText.toUtf8();
    State.TextHash = qHash(sText);
    State.pTrans = TransInit(State.pHeap.get(), State.Text.constData());
    if (State.pTrans == nullptr) {
        return FailLoad("Script file not parsed. could not allocate script heap");
    }
    AddConstants(State.pTrans);
    AddCommands(State.pTrans);
    State.pTrans->pfOnError = OnError;
    State.pTrans->pfOnStatements = OnStatements;
    if (TransParse(State.pTrans) != 0) {
        if (State.ErrorText.isEmpty()) {
            SetError(QStringLiteral("Syntax error."), QString(), State.pTrans->Line);
        }
        return FailLoad("Script file not parsed. could not create globals");
    }
    State.CloseRequested = false;
    State.HasError = false;
    return 0;
}

int ScriptOpenFile(const QString& sPath) {
    QString sText;
    TEXT_FORMAT Format;
    const QString sError = ReadFile(sPath, &sText, &Format);
    if (!sError.isEmpty()) {
        ScriptClose(); // the text that was loaded before is no part of this file
        SetError(sError, QString(), -1);
        return -1;
    }
    const int Result = ScriptOpenText(sText);
    GetState().Format = Format;
    return Result;
}

int ScriptLoad(const QString& sPath) {
    SCRIPT_STATE& State = GetState();
    State.CloseRequested = false;
    State.FilePath = sPath;
    if (ScriptOpenFile(sPath) != 0) {
        qDebug("JScript::Load: could not load project file");
        State.FilePath = sPath;
        return -1;
    }
    State.FilePath = sPath;
    if (!ScriptIsDefined(SF_ON_PROJECT_LOAD)) {
        SetError(QStringLiteral("Required user function missing: ") + ScriptGetPrototype(SF_ON_PROJECT_LOAD), QString(),
                 -1);
        return -1;
    }
    return 0;
}

bool ScriptFileChanged() {
    const SCRIPT_STATE& State = GetState();
    QString sText;
    TEXT_FORMAT Format;
    return !State.FilePath.isEmpty() && ReadFile(State.FilePath, &sText, &Format).isEmpty() &&
           qHash(sText) != State.TextHash;
}

int ScriptReload() {
    if (GetState().CallLevel != 0 || !ScriptFileChanged()) {
        return 0;
    }
    const QString sPath = GetState().FilePath;
    ScriptLoad(sPath);
    QString sText;
    TEXT_FORMAT Format;
    if (ReadFile(sPath, &sText, &Format).isEmpty()) {
        GetState().TextHash = qHash(sText); // a file that doesn't load is reported once
    }
    return 1;
}

QString ScriptSave(const QString& sPath, const QString& sText) {
    QString sError = SaveFile(sPath, EncodeText(sText, GetState().Format));
    if (sError.isEmpty()) {
        GetState().FilePath = sPath;
        GetState().TextHash = qHash(sText);
    }
    return sError;
}

void ScriptClose() {
    // The levels of functions that didn't end in time stay counted; their interpreter must not be freed.
    SCRIPT_STATE& State = GetState();
    const I32 CallLevel = State.CallLevel;
    if (CallLevel != 0) {
        static std::vector<std::pair<std::unique_ptr<ALIGNED_HEAP>, QByteArray>> Orphans;
        Orphans.emplace_back(std::move(State.pHeap), State.Text);
    }
    const I32 CurrentFunction = State.CurrentFunction;
    State = {};
    State.CallLevel = CallLevel;
    State.CurrentFunction = CurrentFunction;
}

int ScriptExecute(int Id) {
    SCRIPT_STATE& State = GetState();
    if (State.pTrans == nullptr) {
        qDebug("Cannot execute script function: pCTrans is NULL");
        return -1;
    }
    if (State.CloseRequested) {
        qDebug("Cannot execute script function: close was requested");
        return 0;
    }
    if (State.HasError) {
        qDebug("Cannot execute script function: script file has error");
        return -1;
    }
    if (Id >= SF_END) {
        qDebug("Cannot execute script function: invalid function ID");
        return 0;
    }
    if (State.CallLevel > MAX_CALL_LEVEL) {
        const QString sText = QStringLiteral("Error executing script function \"%1\": maximum call level reached.")
                                  .arg(ScriptGetFunctionName(State.CurrentFunction));
        qWarning("%s", qPrintable(sText));
        ConsolePrintError(sText);
        return -1;
    }
    const EVENT_FUNCTION* pFunction = GetEventFunction(Id);
    if (pFunction == nullptr) {
        qDebug("Cannot execute unknown script function");
        return -1;
    }
    if (ScriptGetFunctionName(Id).isEmpty()) {
        qDebug("Cannot execute script function: invalid function prototype");
        return -1;
    }
    return Run(Id, *pFunction);
}

bool ScriptIsDefined(int Id) {
    constexpr U32 MAX_NAME = 50;
    const SCRIPT_STATE& State = GetState();
    if (State.pTrans == nullptr || Id >= SF_END || State.HasError || State.CloseRequested ||
        GetEventFunction(Id) == nullptr || State.pTrans->HasError != 0 || State.pTrans->DoStop != 0) {
        return false;
    }
    const QByteArray Name = ScriptGetFunctionName(Id).toLatin1().left(MAX_NAME);
    return TransFindSymbol(State.pTrans, Name.constData(), static_cast<U32>(Name.size())) != nullptr;
}

bool ScriptIsLoaded() { return GetState().pTrans != nullptr; }
bool ScriptHasError() { return GetState().HasError; }
bool ScriptIsClosing() { return GetState().CloseRequested; }
bool ScriptIsEnding() {
    const SCRIPT_STATE& State = GetState();
    return State.CallLevel != 0 && (State.CloseRequested || State.IsStopping);
}
void ScriptSetRunHook(void (*pfOnRun)(bool IsRunning)) { pfRunHook = pfOnRun; }
QString ScriptGetRunningFunction() { return ScriptGetFunctionName(GetState().CurrentFunction); }
int ScriptGetCallLevel() { return GetState().CallLevel; }
QString ScriptGetPath() { return GetState().FilePath; }
void ScriptSetPath(const QString& sPath) { GetState().FilePath = sPath; }
QString ScriptGetText() { return QString::fromUtf8(GetState().Text); }
QString ScriptGetErrorSource() { return GetState().ErrorSource; }

bool ScriptTakeError() {
    SCRIPT_STATE& State = GetState();
    const bool IsNew = State.HasError && !State.IsErrorTaken;
    State.IsErrorTaken = State.HasError;
    return IsNew;
}

void ScriptStop() {
    SCRIPT_STATE& State = GetState();
    if (State.pTrans != nullptr && State.CallLevel != 0) {
        State.IsStopping = true;
        State.pTrans->DoStop = 1;
    }
}

void ScriptRequestClose() {
    SCRIPT_STATE& State = GetState();
    State.CloseRequested = true;
    if (State.pTrans != nullptr) {
        State.pTrans->DoStop = 1;
    }
}

QString ScriptGetErrorText() {
    const SCRIPT_STATE& State = GetState();
    QString sText = QString(State.ErrorText).remove(QLatin1Char('.')).simplified();
    if (State.ErrorLine >= 0) {
        sText += QStringLiteral(" at line %1").arg(State.ErrorLine);
    }
    return sText;
}

QString ScriptGetPrototype(int Id) {
    const EVENT_FUNCTION* pFunction = GetEventFunction(Id);
    return pFunction != nullptr ? QString::fromLatin1(pFunction->sPrototype) : QString();
}

QString ScriptGetFunctionName(int Id) {
    const QString sPrototype = ScriptGetPrototype(Id);
    const QString sHead = sPrototype.left(sPrototype.indexOf(QLatin1Char('('))).trimmed();
    return sHead.mid(sHead.lastIndexOf(QLatin1Char(' ')) + 1);
}

bool ScriptValidatePointer(const void* p) {
    const U8* pHeap = GetState().pHeap != nullptr ? GetState().pHeap->aByte : nullptr;
    return pHeap != nullptr && p >= pHeap && p < pHeap + SCRIPT_HEAP_SIZE;
}

const char* ScriptGetText(I64 Value) {
    const auto* sText = reinterpret_cast<const char*>(Value);
    if (!ScriptValidatePointer(sText)) {
        return nullptr;
    }
    const auto* pEnd = reinterpret_cast<const char*>(GetState().pHeap->aByte) + SCRIPT_HEAP_SIZE;
    return std::memchr(sText, '\0', static_cast<size_t>(pEnd - sText)) != nullptr ? sText : nullptr;
}
