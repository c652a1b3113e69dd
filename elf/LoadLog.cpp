#include "elf/LoadLog.h"

#include <QDebug>
#include <QElapsedTimer>
#include <iterator>

namespace {

constexpr const char* asStep[] = {
    "Program data segments loaded in: ",
    "Parsed source file paths found in address mapping table: ",
    "Parsed source file paths found in source files table: ",
    "Initialized file exists flags: ",
    "Parsed source to address mapping table: ",
    "Sorted program address list: ",
    "parsed file address ranges: ",
    "Cleaned up address mapping table: ",
    "Build debug symbol lists: ",
    "Hashed function inline expansions: ",
    "Build symbol table: ",
    "Build functions list: ",
    "build function interval tree: ",
    "build file interval tree: ",
    "parsed call frame information: ",
};
static_assert(std::size(asStep) == NUM_ELF_STEPS);

QElapsedTimer Timer;
I64 aTime[NUM_ELF_STEPS]; ///< milliseconds, -1 if not noted

} // namespace

void ELF_StartLoadLog() {
    std::fill(std::begin(aTime), std::end(aTime), -1);
    Timer.start();
}

void ELF_NoteStep(ELF_LOAD_STEP Step) { aTime[Step] = Timer.isValid() ? Timer.elapsed() : -1; }

I64 ELF_GetLoadTime() { return Timer.elapsed(); }

void ELF_WriteLoadLog() {
    for (U32 i = 0; i < NUM_ELF_STEPS; ++i) {
        if (aTime[i] >= 0) {
            qDebug("%s%lld ms", asStep[i], static_cast<long long>(aTime[i]));
        }
    }
}
