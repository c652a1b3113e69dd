#pragma once

// What the debugger tells of an instruction from its opcode bits alone; everything about the flow of the program comes
// from the decoder (ICACHE_Decode()). ARM: the word. Thumb: the first halfword in the low 16 bits, the second in the
// high ones. Encodings: ARM Architecture Reference Manual, ARMv7-A/R and ARMv7-M.

#include "base/Types.h"

/// SVC 0xAB or SVC 0x123456, BKPT 0xAB.
bool InstIsSemihostingTrap(U32 Op, bool IsArm, U32 Size);
bool InstIsBreakpoint(U32 Op, bool IsArm, U32 Size);
/// 2 or 4, from the first halfword of a Thumb-2 instruction.
U32 ThumbInstSize(U32 FirstHalfWord);
