#pragma once

// JScript: the script host. It owns the one loaded script, which is the project: loads its text into a fresh
// interpreter, makes the command table and the program's constants known to it, and runs its event functions. Main
// thread only; an event function may start while another waits for the target or sleeps.

#include "base/Types.h"

#include <QString>
#include <QStringList>

enum SCRIPT_FUNCTION : int {
    SF_ON_PROJECT_LOAD = 1,
    SF_TARGET_RESET,
    SF_BEFORE_TARGET_RESET,
    SF_AFTER_TARGET_RESET,
    SF_DEBUG_START,
    SF_TARGET_CONNECT,
    SF_BEFORE_TARGET_CONNECT,
    SF_AFTER_TARGET_CONNECT,
    SF_TARGET_DOWNLOAD,
    SF_BEFORE_TARGET_DOWNLOAD,
    SF_AFTER_TARGET_DOWNLOAD,
    SF_BEFORE_TARGET_DISCONNECT,
    SF_AFTER_TARGET_DISCONNECT,
    SF_AFTER_TARGET_HALT,
    SF_BEFORE_TARGET_RESUME,
    SF_END
};

/// Loads a text. 0, or -1 with the error state set. While a function runs its script can't be replaced: -1, and nothing
/// changes.
int ScriptOpenText(const QString& sText);
/// Reads and loads a file; -1 and "file not found" if it is no regular file.
int ScriptOpenFile(const QString& sPath);
/// The project entry: as above, and OnProjectLoad must be defined.
int ScriptLoad(const QString& sPath);
/// 1 if the file had changed on disk and was loaded again, else 0. A running function goes on with its text: then the
/// file is left for a later call.
int ScriptReload();
bool ScriptFileChanged();
/// Writes the text to the file, in the encoding and with the line ends of the file that was loaded, and takes over path
/// and hash. Empty, or why the file couldn't be written.
QString ScriptSave(const QString& sPath, const QString& sText);
void ScriptClose();

/// Runs an event function: its result; -2 if the script doesn't define it, -1 or 0 if it can't run.
int ScriptExecute(int Id);
bool ScriptIsDefined(int Id);
bool ScriptIsLoaded();
bool ScriptHasError();
/// True once for each error, for whom reports it.
bool ScriptTakeError();
/// Asks the running functions to end and refuses new ones until the next load.
void ScriptRequestClose();
bool ScriptIsClosing();
/// Asks the running functions to end; the script stays usable.
void ScriptStop();
/// True from a request to end until the functions have ended: what makes a function wait gives up.
bool ScriptIsEnding();
/// Called with true when a function starts while none runs, with false when the last one has ended.
void ScriptSetRunHook(void (*pfOnRun)(bool IsRunning));
/// Name of the function that runs now; empty for none.
QString ScriptGetRunningFunction();
int ScriptGetCallLevel();

QString ScriptGetPath();
void ScriptSetPath(const QString& sPath);
QString ScriptGetText();
/// Error message, simplified, without ".", with " at line " and the number if it is known.
QString ScriptGetErrorText();
QString ScriptGetErrorSource();
QString ScriptGetFunctionName(int Id);
QString ScriptGetPrototype(int Id);

/// The project template with the command lines in OnProjectLoad.
QString ScriptBuildText(const QStringList& Commands);

/// True if a pointer from a script lies in its heap.
bool ScriptValidatePointer(const void* p);
/// The zero-terminated text at a script's pointer; null if it doesn't lie wholly in the heap.
const char* ScriptGetText(I64 Value);
