#include "app/ProjectHints.h"

#include "app/Ask.h"
#include "app/dialogs/MessageBox.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "elf/ElfApi.h"
#include "project/Project.h"
#include "project/RegisterFiles.h"
#include "project/SourceLocation.h"

namespace {

struct RTOS_HINT {
    const char* sSymbol;
    const char* sMessage;
};

constexpr RTOS_HINT aRtosHint[] = {
    {"OS_Global",
     "The target application seems to be using Tavos, but Tavos-awareness is not enabled.\n"
     "To enable Tavos-awareness in Brask, add command 'Project.SetOSPlugin(\"tavosPlugin\")' to the project file."},
    {"pxCurrentTCB", "The target application seems to be using FreeRTOS, but FreeRTOS-awareness is not enabled.\n"
                     "To enable FreeRTOS-awareness in Brask, add command 'Project.SetOSPlugin(\"FreeRTOSPlugin\")' to "
                     "the project file."},
};

} // namespace

void LoadDefaultCpuSvdFile() {
    if (CProject::Get().HasCpuSvdFile()) {
        return;
    }
    const QString sDefault = GetDefaultCpuSvdFile();
    if (sDefault.isEmpty()) {
        ConsolePrint(QStringLiteral(
            "Project Warning: no CPU register set description file specified and could not determine default."));
        return;
    }
    ConsolePrint(QStringLiteral("No CPU register set description file specified, loading default: ") + sDefault);
    CCommandTable::Execute(CMD_PROJECT_ADD_SVD_FILE, {sDefault});
}

void CheckRtosHints() {
    const bool CanFollow = CCommandTable::IsAvailable(CMD_PROJECT_SET_OS_PLUGIN, false);
    if (!CanFollow || CProject::Get().HasCommand(CCommandTable::GetName(CMD_PROJECT_SET_OS_PLUGIN))) {
        return;
    }
    for (const RTOS_HINT& Hint : aRtosHint) {
        if (ElfApi_IsOpen() && GetSymbolAddress(QLatin1String(Hint.sSymbol)) >= 0) {
            AskUser(QStringLiteral("RTOS Awareness"), QString::fromLatin1(Hint.sMessage), QMessageBox::Ok,
                    QMessageBox::Ok, nullptr, UNTIL_PROGRAM_END);
        }
    }
}
