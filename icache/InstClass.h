#pragma once

// Classes of instructions from their opcode bits alone. ARM: the word. Thumb: the first halfword in the low 16 bits,
// the second in the high ones. Encodings: ARM Architecture Reference Manual, ARMv7-A/R and ARMv7-M.

#include "base/Types.h"

bool InstIsBranch(U32 Op, bool IsArm);
bool InstIsIndirectBranch(U32 Op, bool IsArm);
bool InstIsCall(U32 Op, bool IsArm);
bool InstIsReturn(U32 Op, bool IsArm);
/// A return by load: POP or LDM of the PC from the stack, LDR PC,[SP],#4.
bool InstIsPopPc(U32 Op, bool IsArm);
/// A load of the PC based on SP.
bool InstIsLoadPcFromSp(U32 Op, bool IsArm);
/// SVC 0xAB or SVC 0x123456, BKPT 0xAB.
bool InstIsSemihostingTrap(U32 Op, bool IsArm, U32 Size);
bool InstIsBreakpoint(U32 Op, bool IsArm, U32 Size);
/// 2 or 4, from the first halfword of a Thumb-2 instruction.
U32 ThumbInstSize(U32 FirstHalfWord);
