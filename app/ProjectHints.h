#pragma once

// What the user is told of a project that has just been opened. Main thread.

/// Loads the register description of the core, if the project names none.
void LoadDefaultCpuSvdFile();
/// Tells of an RTOS in the program that the project doesn't make known.
void CheckRtosHints();
