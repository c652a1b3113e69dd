#pragma once
// The library's disassembler (entry point NOVIK_FUNC_GET_DISASSEMBLER): text of one instruction, through Capstone with
// an overlay of our own for what Capstone doesn't know. Keeps nothing from call to call; any thread.
//
// Text form: mnemonic, a blank, operands, all in upper case but for the x of a number: "LDR R0, [PC, #8]". Branches
// give the offset from the PC as the instruction reads it (its address plus 4, plus 8 in A32): "BL #-0x20".

#include "probe/novik.h"

#include <cstdint>

namespace Arm {

// Text of the overlay for a T32 instruction, false if it has none. Bits: the instruction, the first halfword of a
// 32-bit one in the upper 16 bits. Offsets as above.
bool DisassembleOverlay(uint32_t Bits, uint16_t Arch, char* sText, uint32_t TextSize);

// The exported disassembler for an architecture (probe/arm/InstTable.h), null if there is none.
NOVIK_DISASSEMBLER* GetDisassembler(uint16_t Arch);

} // namespace Arm
