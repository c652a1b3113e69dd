#include "icache/InstClass.h"

namespace {

constexpr U32 SEMIHOSTING_NUMBER = 0xAB;
constexpr U32 SEMIHOSTING_ARM_NUMBER = 0x123456;

U32 First(U32 Op) { return Op & 0xFFFF; }
U32 Second(U32 Op) { return Op >> 16; }

} // namespace

U32 ThumbInstSize(U32 FirstHalfWord) {
    return (FirstHalfWord & 0xE000) == 0xE000 && (FirstHalfWord & 0x1800) != 0 ? 4 : 2;
}

bool InstIsCall(U32 Op, bool IsArm) {
    if (IsArm) {
        return ((Op >> 24) & 15) == 11 || ((Op >> 25) & 127) == 125 || (Op & 0x0FF00000) == 0x01200000;
    }
    const U32 h = First(Op);
    return ((h & 0xF800) == 0xF000 && (Second(Op) & 0xC000) >= 0xC000) || (h & 0xFF80) == 0x4780;
}

bool InstIsBranch(U32 Op, bool IsArm) {
    if (IsArm) {
        return (Op & 0x0F000000) == 0x0A000000;
    }
    const U32 h = First(Op);
    const U32 l = Second(Op);
    return (h >> 12) == 13 || (h >> 11) == 28 || ((h >> 11) == 30 && l >= 0x8000 && l <= 0xBFFF) ||
           ((h >> 12) == 11 && (h & 0x400) == 0 && (h & 0x100)) || (h & 0xFFF0) == 0xE8D0;
}

bool InstIsIndirectBranch(U32 Op, bool IsArm) {
    if (IsArm) {
        const U32 Kind = (Op >> 4) & 15;
        return (Op & 0x0FF00000) == 0x01200000 && (Kind == 1 || Kind == 2);
    }
    const U32 h = First(Op);
    return (h >> 7) == 142 || (h >> 7) == 143 || ((h & 0xFFF0) == 0xF3C0 && (Second(Op) & 0xC000) == 0x8000);
}

bool InstIsReturn(U32 Op, bool IsArm) {
    return InstIsIndirectBranch(Op, IsArm) && (IsArm ? (Op & 15) == 14 : (First(Op) & 0x78) == 0x70);
}

bool InstIsPopPc(U32 Op, bool IsArm) {
    if (IsArm) {
        const U32 Kind = (Op >> 16) & 0xFFF;
        return (Kind == 0x8BD && (Op & 0x8000)) || (Kind == 0x49D && (Op & 0xFFF) == 4 && ((Op >> 12) & 15) == 15);
    }
    const U32 h = First(Op);
    return ((h & 0xFE00) == 0xBC00 && (h & 0x100)) || (h == 0xE8BD && (Second(Op) & 0x8000));
}

bool InstIsLoadPcFromSp(U32 Op, bool IsArm) {
    if (IsArm) {
        return (Op & 0x0E000000) == 0x04000000 && !(Op & (1u << 22)) && (Op & (1u << 20)) && ((Op >> 12) & 15) == 15 &&
               ((Op >> 16) & 15) == 13;
    }
    const U32 h = First(Op);
    const U32 l = Second(Op);
    const bool IsLoad = (h >> 4) == 0xF8D || ((h >> 4) == 0xF85 && (l & 0x800));
    return IsLoad && (h & 15) == 13 && (l >> 12) == 15;
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
