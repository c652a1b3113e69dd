#include "icache/InstClass.h"

namespace {

constexpr U32 SEMIHOSTING_NUMBER = 0xAB;
constexpr U32 SEMIHOSTING_ARM_NUMBER = 0x123456;

U32 Second(U32 Op) { return Op >> 16; }

} // namespace

U32 ThumbInstSize(U32 FirstHalfWord) {
    return (FirstHalfWord & 0xE000) == 0xE000 && (FirstHalfWord & 0x1800) != 0 ? 4 : 2;
}

bool InstIsSemihostingTrap(U32 Op, bool IsArm, U32 Size) {
    const bool HasNumber = (Op & 0xFF) == SEMIHOSTING_NUMBER;
    if (IsArm) {
        return (HasNumber || (Op & 0xFFFFFF) == SEMIHOSTING_ARM_NUMBER) && (Op & 0xFF000000) == 0xEF000000;
    }
    return Size == 2 && HasNumber && ((Op & 0xFF00) == 0xDF00 || (Op & 0xFF00) == 0xBE00) && Second(Op) == 0;
}

bool InstIsBreakpoint(U32 Op, bool IsArm, U32 Size) {
    // The whole encoding counts for ARM: the top byte 0xE1 alone also has all unconditional moves.
    return IsArm ? (Op & 0xFFF000F0) == 0xE1200070 : Size == 2 && (Op & 0xFF00) == 0xBE00;
}
