#include "elf/Elf.h"
#include "elf/ElfTasks.h"

// Where messages of the module go: to the sink, or with the task that has them until the sink's thread can take them.

namespace {

constexpr size_t MAX_KEPT = 100; ///< messages of one task; a damaged file has any number

ELF_MSG_HANDLER pfMsgHandler;
std::string sLastError; ///< of the debug information; a damaged place is met again and again
thread_local ELF_MESSAGES* pKept;

} // namespace

void ELF_SetMsgHandler(ELF_MSG_HANDLER pfHandler) { pfMsgHandler = pfHandler; }

void ELF_Report(U32 Level, const char* sText) {
    if (pKept != nullptr) {
        if (pKept->size() < MAX_KEPT) {
            pKept->emplace_back(Level, sText);
        }
        return;
    }
    if (Level == ELF_MSG_LIBDWARF) {
        if (sLastError == sText) {
            return;
        }
        sLastError = sText;
    }
    if (pfMsgHandler != nullptr) {
        pfMsgHandler(sText, Level);
    }
}

void ELF_ForgetLastError() { sLastError.clear(); }

void ELF_KeepMessages(ELF_MESSAGES* pMessages) { pKept = pMessages; }
