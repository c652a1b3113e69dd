#pragma once

// The command table: every operation a user can run is one row, reachable as script function, console line, menu or
// tool bar entry and hot key; all four end in the triggered() signal of the row's QAction. The functions below work
// on the one static table. Main thread only.
//
// Per command, the action carries: data() the arguments as a QStringList (an integer 0 is the cancel mark, an
// invalid variant no arguments), whatsThis() the error text, property softKeyRole 1 if scripts and the console may run
// it.

#include "base/Types.h"
#include "command/CommandIds.h"

#include <QAction>
#include <QString>
#include <QStringList>
#include <QVariant>

/// A script's call of a command: its arguments as 64-bit values. Returns the command's result.
using COMMAND_HANDLER = I32 (*)(const I64* paArgs, U32 NumArgs);

struct COMMAND_ROW {
    U32 Id = CMD_COUNT;
    U8 IsPublic = 0;
    U8 EchoAfter = 0;
    COMMAND_HANDLER pfHandler = nullptr;
    QString HotKey;
    QString Prototype;
    QString ArgNames;
    QString LongHelp;
    QString ShortHelp;
    QString ActionName;
    QAction* pAction = nullptr;
};

/// What the table needs from the folders above it; set once by the application.
struct COMMAND_HOST {
    /// Text of a script's string argument, null if the value is no address in the script heap.
    const char* (*pfScriptText)(I64 Value) = nullptr;
    /// False if a script's call of this command can't do anything now: the call returns -1 at once.
    bool (*pfMayCall)(U32 Id) = nullptr;
    /// A mark for the wait behind a command, taken in front of it.
    U64 (*pfMarkDevice)() = nullptr;
    /// Waits until the device has done what the command has asked for since the mark. 0, or -1 if the target refused.
    I32 (*pfWaitForDevice)(U32 Id, U64 Mark) = nullptr;
    /// Canonical form of a source location, empty if the text is none.
    QString (*pfCanonicalLocation)(const QString& sText) = nullptr;
    /// Value of a symbol or expression. False if it has none.
    bool (*pfEvaluate)(const QString& sText, I64* pValue) = nullptr;
    /// The console's line for a command that is disabled.
    void (*pfReportDisabled)(const QString& sName) = nullptr;
};

namespace CCommandTable {

void SetHost(const COMMAND_HOST& Host);
const COMMAND_HOST& GetHost();

/// Copy of the row; the empty row (id 319, no action) for an id out of range.
COMMAND_ROW GetRow(U32 Id);
/// Function name in the prototype; empty in rows that are not script functions.
QString GetName(U32 Id);
/// The other name of a command name, in either direction; empty if it has none.
QString GetAlias(const QString& sName);
QString GetAlias(U32 Id);
int GetParamCount(U32 Id);
bool IsTextParam(U32 Id, int Index);

QAction* GetAction(U32 Id);
int GetIdOfAction(const QAction* pAction); ///< -1 if no row is linked to it
bool IsAvailable(U32 Id, bool IsGui);
/// Sets GUI state and command state of a row together.
void SetCommandEnabled(U32 Id, bool IsGuiEnabled, bool IsCommandEnabled = true);

void SetArgs(U32 Id, const QStringList& Args);
QStringList GetArgs(U32 Id); ///< with all double quote characters removed
QString GetArg0(U32 Id);     ///< the only argument; another count sets "wrong parameter count"
void ClearArgs(U32 Id);
void Cancel(U32 Id);
bool IsCancelled(U32 Id);
/// Argument count between Min and the prototype's; -1 means exactly the prototype's. Sets the error if not.
bool CheckArgs(U32 Id, int Min = -1);
/// The detail is shown only by commands with more than one argument.
void SetError(U32 Id, const QString& sText, const QString& sDetail = QString());
QString GetError(U32 Id);
void SetResult(U32 Id, I32 Value);
I32 GetResult(U32 Id);

/// The script line of the row with its current arguments; empty for a row without name.
QString RenderCommand(U32 Id);
/// The script line of the row with these arguments, as PrepareArgs() takes them; the row's own ones are gone behind it.
/// Empty, which the console tells, if an argument has a quotation mark or a line end: the language knows neither.
QString RenderWith(U32 Id, const QVariantList& Args);
/// Parses a line, sets the arguments on the row's action and returns the row; the empty row if none matches.
COMMAND_ROW Find(const QString& sLine);
/// Splits a line into name and arguments as Find() does.
void SplitLine(const QString& sLine, QString* pName, QStringList* pArgs);
/// Fires the row's action. 0, or -1 if it is disabled, out of range or has no action.
int Trigger(U32 Id);
/// Sets the valid arguments as text, fires and gives the result; -1 if the action can't fire.
I32 Execute(U32 Id, const QVariantList& Args = {});
/// As Execute without firing, for a slot that got its arguments from a dialog.
void PrepareArgs(U32 Id, const QVariantList& Args);

/// Links all actions below a widget to their rows; the last link of a row wins.
void LinkActions(QObject* pWidget);
void UnlinkActions(QObject* pWidget);
/// Names of actions that no row claims, sorted.
QStringList GetUnknownActionNames();

/// Row ids, in order, whose hot key has this key (portable text) as its alternative.
QList<U32> FindByAlternativeKey(const QString& sKey);

/// The help table.
QStringList ListCommands();

} // namespace CCommandTable
