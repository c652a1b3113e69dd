#pragma once

// Consent to write host files: a project is a script, and one that came from elsewhere must not write outside its own
// folder unasked. Main thread.

#include "command/CommandIds.h"

#include <QString>

/// True if the running command may write the file. A person's command may; that of a script may if the project is
/// trusted or the file lies in the project's folder, links resolved. Otherwise the user is asked, once a project.
/// False, with the command's error set, if it may not.
bool MayWriteFile(COMMAND_ID Id, const QString& sPath);

/// True if a write on behalf of the project needs nobody's consent. Asks nothing.
bool IsWriteTrusted(const QString& sProjectPath, const QString& sPath);

/// True if the user made the project here or has consented. A project without a file was made here.
bool IsProjectTrusted(const QString& sProjectPath);

/// Remembers the consent by the project's canonical path.
void TrustProject(const QString& sProjectPath);
