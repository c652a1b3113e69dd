#pragma once
// Single precision arithmetic of the floating point unit, in integers: the same bits and flags on any host, whose own
// floating point environment is neither used nor touched. After the pseudocode of the ARMv7-M and ARMv8-M Architecture
// Reference Manuals (FPAdd, FPMulAdd, FPRound and so on). Pure functions of their operands and of the Fpscr they are
// given, whose cumulative flags they set. Any thread.

#include <cstdint>

namespace Sim {

// Bits of the floating point status and control register.
enum EFpscr : uint32_t {
    FPSCR_IOC = 1u << 0, // invalid operation
    FPSCR_DZC = 1u << 1, // division by zero
    FPSCR_OFC = 1u << 2, // overflow
    FPSCR_UFC = 1u << 3, // underflow
    FPSCR_IXC = 1u << 4, // inexact
    FPSCR_IDC = 1u << 7, // denormal input flushed
    FPSCR_RMODE_SHIFT = 22,
    FPSCR_FZ = 1u << 24,
    FPSCR_DN = 1u << 25,
    FPSCR_AHP = 1u << 26, // alternative half precision
    FPSCR_WRITABLE = 0xF7C0009F,
};

// The first four are the values of FPSCR.RMode.
enum class ERound : uint8_t { Nearest, Plus, Minus, Zero, Away };

inline ERound RoundingMode(uint32_t Fpscr) { return static_cast<ERound>(Fpscr >> FPSCR_RMODE_SHIFT & 3); }

uint32_t FloatAdd(uint32_t a, uint32_t b, uint32_t& Fpscr);
uint32_t FloatMul(uint32_t a, uint32_t b, uint32_t& Fpscr);
uint32_t FloatDiv(uint32_t a, uint32_t b, uint32_t& Fpscr);
uint32_t FloatSqrt(uint32_t a, uint32_t& Fpscr);
// Addend + a * b with one rounding.
uint32_t FloatMulAdd(uint32_t Addend, uint32_t a, uint32_t b, uint32_t& Fpscr);
// The flags N, Z, C, V in bits 31 to 28. QuietNanInvalid: as VCMPE, a quiet NaN is an invalid operation too.
uint32_t FloatCompare(uint32_t a, uint32_t b, bool QuietNanInvalid, uint32_t& Fpscr);
uint32_t FloatMaxNum(uint32_t a, uint32_t b, uint32_t& Fpscr);
uint32_t FloatMinNum(uint32_t a, uint32_t b, uint32_t& Fpscr);
// To an integral value; with Exact a change of the value is inexact.
uint32_t FloatRoundInt(uint32_t a, ERound Round, bool Exact, uint32_t& Fpscr);
// To a fixed point number of Size bits (16 or 32), FracBits of them behind the point; saturates. The result is extended
// to 32 bits.
uint32_t FloatToFixed(uint32_t a, uint32_t Size, uint32_t FracBits, bool Unsigned, ERound Round, uint32_t& Fpscr);
uint32_t FixedToFloat(uint32_t Value, uint32_t Size, uint32_t FracBits, bool Unsigned, ERound Round, uint32_t& Fpscr);
uint32_t HalfToFloat(uint16_t a, uint32_t& Fpscr);
uint16_t FloatToHalf(uint32_t a, uint32_t& Fpscr);

} // namespace Sim
