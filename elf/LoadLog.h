#pragma once

// How long the steps of opening a program file took, for the debug log.

#include "base/Types.h"

/// In the order in which they are logged.
enum ELF_LOAD_STEP : U32 {
    ELF_STEP_SEGMENTS,
    ELF_STEP_PATHS_OF_LINES,
    ELF_STEP_PATHS_OF_FILES,
    ELF_STEP_FILES_EXIST,
    ELF_STEP_LINES,
    ELF_STEP_LINES_SORTED,
    ELF_STEP_FILE_RANGES,
    ELF_STEP_LINES_CLEANED,
    ELF_STEP_LISTS,
    ELF_STEP_INLINES,
    ELF_STEP_SYMBOLS,
    ELF_STEP_FUNCS,
    ELF_STEP_FUNC_TREE,
    ELF_STEP_FILE_TREE,
    ELF_STEP_FRAMES,
    NUM_ELF_STEPS
};

/// Forgets the steps and starts the clock. One file opens at a time.
void ELF_StartLoadLog();
/// Notes the time so far for a step that has ended. Any thread; each step by one.
void ELF_NoteStep(ELF_LOAD_STEP Step);
/// Milliseconds since the start.
I64 ELF_GetLoadTime();
/// Writes the steps that were noted, in their order.
void ELF_WriteLoadLog();
