#include "probe/sim/SoftFloat.h"

#include <bit>
#include <utility>

namespace Sim {
namespace {

constexpr uint32_t SIGN = 0x80000000, INFINITE = 0x7F800000, DEFAULT_NAN = 0x7FC00000, QUIET = 0x00400000;
// Mantissas are kept with their leading one at this bit while they are worked on; bits lost below are or-ed into bit 0.
constexpr int TOP = 62;

enum class EKind : uint8_t { Zero, Finite, Infinite, QuietNan, SignallingNan };

// A number; its value, if finite, is Mant * 2^(Exp - TOP).
struct CNumber {
    EKind Kind;
    bool Sign;
    int Exp;
    uint64_t Mant;

    bool IsNan() const { return Kind >= EKind::QuietNan; }
};

// A denormal number takes the value zero when FPSCR.FZ is set.
inline CNumber Unpack(uint32_t a, uint32_t& Fpscr) {
    const uint32_t Exp = a >> 23 & 0xFF, Frac = a & 0x7FFFFF;
    const bool Sign = a >> 31;
    if (Exp - 1 < 254) [[likely]] {
        return {EKind::Finite, Sign, static_cast<int>(Exp) - 127, uint64_t(Frac | 0x800000) << (TOP - 23)};
    }
    if (Exp == 0) {
        if (Frac == 0 || (Fpscr & FPSCR_FZ)) {
            Fpscr |= Frac ? uint32_t(FPSCR_IDC) : 0;
            return {EKind::Zero, Sign, 0, 0};
        }
        const int Shift = std::countl_zero(Frac) - 8;
        return {EKind::Finite, Sign, -126 - Shift, uint64_t(Frac) << (TOP - 23 + Shift)};
    }
    const EKind Nan = (Frac & QUIET) ? EKind::QuietNan : EKind::SignallingNan;
    return {Frac ? Nan : EKind::Infinite, Sign, 0, 0};
}

inline uint32_t SignBit(bool Sign) { return Sign ? SIGN : 0; }

inline bool RoundsUp(ERound Round, bool Sign, bool IsOdd, uint64_t Frac) {
    constexpr uint64_t HALF = uint64_t(1) << 63;
    switch (Round) {
    case ERound::Nearest:
        return Frac > HALF || (Frac == HALF && IsOdd);
    case ERound::Plus:
        return Frac && !Sign;
    case ERound::Minus:
        return Frac && Sign;
    case ERound::Zero:
        return false;
    default:
        return Frac >= HALF;
    }
}

inline bool OverflowsToInfinity(ERound Round, bool Sign) {
    return Round == ERound::Nearest || Round == ERound::Away || Round == (Sign ? ERound::Minus : ERound::Plus);
}

// Value shifted right with the lost bits as a fraction of 64 bits; bits lost even there show in its lowest one.
inline uint64_t ShiftOut(uint64_t Value, int Shift, uint64_t& Frac) {
    if (Shift <= 0) {
        Frac = 0;
        return Value;
    }
    if (Shift < 64) {
        Frac = Value << (64 - Shift);
        return Value >> Shift;
    }
    Frac = Shift == 64 ? Value : (Value != 0);
    return 0;
}

inline uint64_t ShiftRightJam(uint64_t Value, int Shift) {
    if (Shift > 63) {
        return Value != 0;
    }
    return Shift == 0 ? Value : Value >> Shift | ((Value << (64 - Shift)) != 0);
}

// Number of a format with ExpBits and FracBits; Mant has its leading one at TOP. Exp: of that one.
template <int ExpBits, int FracBits>
inline uint32_t Pack(bool Sign, int Exp, uint64_t Mant, ERound Round, uint32_t& Fpscr) {
    constexpr int BIAS = (1 << (ExpBits - 1)) - 1;
    constexpr uint32_t INF = ((1u << ExpBits) - 1) << FracBits;
    constexpr bool IsHalf = ExpBits == 5;
    const uint32_t Signed = Sign ? 1u << (ExpBits + FracBits) : 0;
    if (!IsHalf && (Fpscr & FPSCR_FZ) && Exp < 1 - BIAS) {
        Fpscr |= FPSCR_UFC;
        return Signed;
    }
    int Biased = Exp + BIAS;
    int Shift = TOP - FracBits;
    if (Biased <= 0) {
        Shift += 1 - Biased;
        Biased = 0;
    }
    uint64_t Frac;
    uint64_t Int = ShiftOut(Mant, Shift, Frac);
    if (Biased == 0 && Frac) {
        Fpscr |= FPSCR_UFC;
    }
    Int += RoundsUp(Round, Sign, Int & 1, Frac);
    // The leading one of a normal number adds 1 to the exponent field, as does a carry out of the fraction.
    const uint32_t Result = (static_cast<uint32_t>(Biased ? Biased - 1 : 0) << FracBits) + static_cast<uint32_t>(Int);
    if (IsHalf && (Fpscr & FPSCR_AHP)) { // no infinities: the largest exponent is one more for numbers
        if (Result > 0x7FFF) {
            Fpscr |= FPSCR_IOC;
            return Signed | 0x7FFF;
        }
    } else if (Result >= INF) {
        Fpscr |= FPSCR_OFC | FPSCR_IXC;
        return Signed | (OverflowsToInfinity(Round, Sign) ? INF : INF - 1);
    }
    Fpscr |= Frac ? uint32_t(FPSCR_IXC) : 0;
    return Signed | Result;
}

inline uint32_t PackFloat(bool Sign, int Exp, uint64_t Mant, uint32_t& Fpscr) {
    return Pack<8, 23>(Sign, Exp, Mant, RoundingMode(Fpscr), Fpscr);
}

// As Pack, for a mantissa that is not 0 and has its leading one anywhere.
inline uint32_t NormalizeAndPack(bool Sign, int Exp, uint64_t Mant, uint32_t& Fpscr) {
    const int Shift = std::countl_zero(Mant) - 1;
    Mant = Shift < 0 ? ShiftRightJam(Mant, 1) : Mant << Shift;
    return PackFloat(Sign, Exp - Shift, Mant, Fpscr);
}

uint32_t Invalid(uint32_t& Fpscr) {
    Fpscr |= FPSCR_IOC;
    return DEFAULT_NAN;
}

uint32_t ProcessNan(EKind Kind, uint32_t a, uint32_t& Fpscr) {
    Fpscr |= Kind == EKind::SignallingNan ? uint32_t(FPSCR_IOC) : 0;
    return (Fpscr & FPSCR_DN) ? DEFAULT_NAN : a | QUIET;
}

// The NaN that two operands of which at least one is a NaN give: signalling ones first, then the first.
[[gnu::noinline]] uint32_t ProcessNans(const CNumber& A, const CNumber& B, uint32_t a, uint32_t b, uint32_t& Fpscr) {
    for (const EKind Kind : {EKind::SignallingNan, EKind::QuietNan}) {
        if (A.Kind == Kind) {
            return ProcessNan(Kind, a, Fpscr);
        }
        if (B.Kind == Kind) {
            return ProcessNan(Kind, b, Fpscr);
        }
    }
    return DEFAULT_NAN;
}

// Sign of a sum that is exactly zero.
inline uint32_t ZeroSum(bool SignA, bool SignB, uint32_t Fpscr) {
    return SignBit(SignA == SignB ? SignA : RoundingMode(Fpscr) == ERound::Minus);
}

// Sum of two finite numbers, neither of them 0.
inline uint32_t AddFinite(CNumber A, CNumber B, uint32_t& Fpscr) {
    if (A.Exp < B.Exp) {
        std::swap(A, B);
    }
    B.Mant = ShiftRightJam(B.Mant, A.Exp - B.Exp);
    if (A.Sign == B.Sign) {
        return NormalizeAndPack(A.Sign, A.Exp, A.Mant + B.Mant, Fpscr);
    }
    if (A.Mant == B.Mant) {
        return ZeroSum(A.Sign, B.Sign, Fpscr);
    }
    const bool Less = A.Mant < B.Mant;
    return NormalizeAndPack(A.Sign != Less, A.Exp, Less ? B.Mant - A.Mant : A.Mant - B.Mant, Fpscr);
}

// The exact product, whose leading one is at TOP or above.
inline CNumber Product(const CNumber& A, const CNumber& B) {
    const uint64_t Mant = (A.Mant >> (TOP - 23)) * (B.Mant >> (TOP - 23)); // 47 or 48 bits
    const int High = static_cast<int>(Mant >> 47);
    return {EKind::Finite, A.Sign != B.Sign, A.Exp + B.Exp + High, Mant << (TOP - 46 - High)};
}

// A finite result is the operand itself, but for a denormal one that was flushed.
uint32_t Repack(const CNumber& A, uint32_t a) { return A.Kind == EKind::Zero ? SignBit(A.Sign) : a; }

template <bool IsMax> uint32_t MaxMin(uint32_t a, uint32_t b, uint32_t& Fpscr) {
    const auto IsQuiet = [](uint32_t x) { return (x & DEFAULT_NAN) == DEFAULT_NAN; };
    // A number wins against a quiet NaN.
    constexpr uint32_t LOSER = IsMax ? SIGN | INFINITE : INFINITE;
    if (IsQuiet(a) != IsQuiet(b)) {
        (IsQuiet(a) ? a : b) = LOSER;
    }
    const CNumber A = Unpack(a, Fpscr), B = Unpack(b, Fpscr);
    if (A.IsNan() || B.IsNan()) {
        return ProcessNans(A, B, a, b, Fpscr);
    }
    const uint32_t x = Repack(A, a), y = Repack(B, b);
    const auto Key = [](uint32_t v) { return static_cast<int32_t>(v & SIGN ? SIGN - v : v); };
    if (Key(x) == Key(y)) { // zeros of both signs are equal
        return IsMax ? x & y : x | y;
    }
    return (Key(x) > Key(y)) == IsMax ? x : y;
}

// The magnitude of a finite number as an integer with FracBits behind the point. Below 2^34: larger ones are cut there,
// which any saturation notices.
uint64_t Integral(const CNumber& A, int FracBits, ERound Round, bool& Inexact) {
    const int Exp = A.Exp + FracBits;
    Inexact = false;
    if (Exp > 33) {
        return uint64_t(1) << 34;
    }
    uint64_t Frac;
    uint64_t Int = ShiftOut(A.Mant, TOP - Exp, Frac);
    Inexact = Frac != 0;
    return Int + RoundsUp(Round, A.Sign, Int & 1, Frac);
}

uint64_t SquareRoot(uint64_t Value) {
    uint64_t Root = 0;
    for (uint64_t Bit = uint64_t(1) << 62; Bit; Bit >>= 2) {
        if (Value >= Root + Bit) {
            Value -= Root + Bit;
            Root = (Root >> 1) + Bit;
        } else {
            Root >>= 1;
        }
    }
    return Root;
}

} // namespace

uint32_t FloatAdd(uint32_t a, uint32_t b, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr), B = Unpack(b, Fpscr);
    if (A.Kind == EKind::Finite && B.Kind == EKind::Finite) [[likely]] {
        return AddFinite(A, B, Fpscr);
    }
    if (A.IsNan() || B.IsNan()) {
        return ProcessNans(A, B, a, b, Fpscr);
    }
    if (A.Kind == EKind::Infinite || B.Kind == EKind::Infinite) {
        const bool Opposed = A.Kind == B.Kind && A.Sign != B.Sign;
        return Opposed ? Invalid(Fpscr) : A.Kind == EKind::Infinite ? a : b;
    }
    if (A.Kind == EKind::Zero && B.Kind == EKind::Zero) {
        return ZeroSum(A.Sign, B.Sign, Fpscr);
    }
    const CNumber& Other = A.Kind == EKind::Zero ? B : A;
    return PackFloat(Other.Sign, Other.Exp, Other.Mant, Fpscr);
}

uint32_t FloatMul(uint32_t a, uint32_t b, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr), B = Unpack(b, Fpscr);
    if (A.Kind == EKind::Finite && B.Kind == EKind::Finite) [[likely]] {
        const CNumber P = Product(A, B);
        return PackFloat(P.Sign, P.Exp, P.Mant, Fpscr);
    }
    if (A.IsNan() || B.IsNan()) {
        return ProcessNans(A, B, a, b, Fpscr);
    }
    const bool AnyZero = A.Kind == EKind::Zero || B.Kind == EKind::Zero;
    if (A.Kind == EKind::Infinite || B.Kind == EKind::Infinite) {
        return AnyZero ? Invalid(Fpscr) : SignBit(A.Sign != B.Sign) | INFINITE;
    }
    return SignBit(A.Sign != B.Sign);
}

uint32_t FloatDiv(uint32_t a, uint32_t b, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr), B = Unpack(b, Fpscr);
    const bool Sign = A.Sign != B.Sign;
    if (A.Kind == EKind::Finite && B.Kind == EKind::Finite) [[likely]] {
        const uint64_t Dividend = A.Mant >> 1, Divisor = B.Mant >> (TOP - 23); // quotient of 38 or 39 bits
        const uint64_t Quotient = Dividend / Divisor;
        const uint64_t Sticky = Quotient * Divisor != Dividend;
        return NormalizeAndPack(Sign, A.Exp - B.Exp + TOP - 38, Quotient | Sticky, Fpscr);
    }
    if (A.IsNan() || B.IsNan()) {
        return ProcessNans(A, B, a, b, Fpscr);
    }
    if (A.Kind == B.Kind) { // both zero or both infinite
        return Invalid(Fpscr);
    }
    if (A.Kind == EKind::Infinite || B.Kind == EKind::Zero) {
        Fpscr |= A.Kind == EKind::Infinite ? 0 : uint32_t(FPSCR_DZC);
        return SignBit(Sign) | INFINITE;
    }
    return SignBit(Sign);
}

uint32_t FloatSqrt(uint32_t a, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr);
    if (A.IsNan()) {
        return ProcessNan(A.Kind, a, Fpscr);
    }
    if (A.Kind == EKind::Zero) {
        return SignBit(A.Sign);
    }
    if (A.Sign) {
        return Invalid(Fpscr);
    }
    if (A.Kind == EKind::Infinite) {
        return a;
    }
    // The root of Mant * 2^(Exp - 62) has 32 bits for an even exponent and a mantissa of 63.
    const bool IsOdd = A.Exp & 1;
    const uint64_t Value = IsOdd ? A.Mant << 1 : A.Mant;
    const uint64_t Root = SquareRoot(Value);
    const uint64_t Sticky = Root * Root != Value;
    return NormalizeAndPack(false, (A.Exp - IsOdd) / 2 + TOP - 31, Root | Sticky, Fpscr);
}

uint32_t FloatMulAdd(uint32_t Addend, uint32_t a, uint32_t b, uint32_t& Fpscr) {
    const CNumber D = Unpack(Addend, Fpscr), A = Unpack(a, Fpscr), B = Unpack(b, Fpscr);
    const bool HasInf = A.Kind == EKind::Infinite || B.Kind == EKind::Infinite;
    const bool HasZero = A.Kind == EKind::Zero || B.Kind == EKind::Zero;
    const bool Sign = A.Sign != B.Sign;
    if (D.IsNan() || A.IsNan() || B.IsNan()) {
        if (D.Kind == EKind::QuietNan && HasInf && HasZero) {
            return Invalid(Fpscr);
        }
        const bool ProductSignals = A.Kind == EKind::SignallingNan || B.Kind == EKind::SignallingNan;
        const bool AddendFirst = D.Kind == EKind::SignallingNan || (D.Kind == EKind::QuietNan && !ProductSignals);
        return AddendFirst ? ProcessNan(D.Kind, Addend, Fpscr) : ProcessNans(A, B, a, b, Fpscr);
    }
    if (HasInf) {
        const bool Opposed = D.Kind == EKind::Infinite && D.Sign != Sign;
        return HasZero || Opposed ? Invalid(Fpscr) : SignBit(Sign) | INFINITE;
    }
    if (D.Kind == EKind::Infinite) {
        return Addend;
    }
    if (HasZero) {
        return D.Kind == EKind::Zero ? ZeroSum(D.Sign, Sign, Fpscr) : PackFloat(D.Sign, D.Exp, D.Mant, Fpscr);
    }
    const CNumber P = Product(A, B);
    return D.Kind == EKind::Zero ? PackFloat(P.Sign, P.Exp, P.Mant, Fpscr) : AddFinite(P, D, Fpscr);
}

uint32_t FloatCompare(uint32_t a, uint32_t b, bool QuietNanInvalid, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr), B = Unpack(b, Fpscr);
    if (A.IsNan() || B.IsNan()) {
        const bool Signals = A.Kind == EKind::SignallingNan || B.Kind == EKind::SignallingNan;
        Fpscr |= Signals || QuietNanInvalid ? uint32_t(FPSCR_IOC) : 0;
        return 0x30000000;
    }
    const auto Key = [](uint32_t v) { return static_cast<int32_t>(v & SIGN ? SIGN - v : v); };
    const int32_t x = Key(Repack(A, a)), y = Key(Repack(B, b));
    return x == y ? 0x60000000 : x < y ? 0x80000000 : 0x20000000;
}

uint32_t FloatMaxNum(uint32_t a, uint32_t b, uint32_t& Fpscr) { return MaxMin<true>(a, b, Fpscr); }

uint32_t FloatMinNum(uint32_t a, uint32_t b, uint32_t& Fpscr) { return MaxMin<false>(a, b, Fpscr); }

uint32_t FloatRoundInt(uint32_t a, ERound Round, bool Exact, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr);
    if (A.IsNan()) {
        return ProcessNan(A.Kind, a, Fpscr);
    }
    if (A.Kind != EKind::Finite || A.Exp >= 23) {
        return Repack(A, a);
    }
    bool Inexact;
    const uint64_t Int = Integral(A, 0, Round, Inexact);
    Fpscr |= Inexact && Exact ? uint32_t(FPSCR_IXC) : 0;
    return Int ? NormalizeAndPack(A.Sign, TOP, Int, Fpscr) : SignBit(A.Sign);
}

uint32_t FloatToFixed(uint32_t a, uint32_t Size, uint32_t FracBits, bool Unsigned, ERound Round, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr);
    if (A.IsNan()) {
        Fpscr |= FPSCR_IOC;
        return 0;
    }
    bool Inexact = false;
    const uint64_t Magnitude = A.Kind == EKind::Zero       ? 0
                               : A.Kind == EKind::Infinite ? uint64_t(1) << 34
                                                           : Integral(A, static_cast<int>(FracBits), Round, Inexact);
    const int64_t Value = A.Sign ? -static_cast<int64_t>(Magnitude) : static_cast<int64_t>(Magnitude);
    const int64_t Max = (int64_t(1) << (Unsigned ? Size : Size - 1)) - 1, Min = Unsigned ? 0 : -Max - 1;
    const int64_t Result = Value > Max ? Max : Value < Min ? Min : Value;
    Fpscr |= Result != Value ? uint32_t(FPSCR_IOC) : Inexact ? uint32_t(FPSCR_IXC) : 0;
    return static_cast<uint32_t>(Result);
}

uint32_t FixedToFloat(uint32_t Value, uint32_t Size, uint32_t FracBits, bool Unsigned, ERound Round, uint32_t& Fpscr) {
    const uint32_t Shift = 32 - Size;
    const int64_t Wide = Unsigned ? static_cast<int64_t>(Value << Shift >> Shift)
                                  : static_cast<int64_t>(static_cast<int32_t>(Value << Shift) >> Shift);
    if (Wide == 0) {
        return 0;
    }
    const uint64_t Magnitude = static_cast<uint64_t>(Wide < 0 ? -Wide : Wide);
    const int Up = std::countl_zero(Magnitude) - 1;
    return Pack<8, 23>(Wide < 0, TOP - Up - static_cast<int>(FracBits), Magnitude << Up, Round, Fpscr);
}

// Denormal half precision numbers are not flushed.
uint32_t HalfToFloat(uint16_t a, uint32_t& Fpscr) {
    const uint32_t Exp = a >> 10 & 31, Frac = a & 0x3FF, Sign = static_cast<uint32_t>(a & 0x8000) << 16;
    if (Exp == 31 && !(Fpscr & FPSCR_AHP)) {
        if (Frac == 0) {
            return Sign | INFINITE;
        }
        return ProcessNan((Frac & 0x200) ? EKind::QuietNan : EKind::SignallingNan, Sign | INFINITE | Frac << 13, Fpscr);
    }
    if (Exp == 0) {
        const int Up = Frac ? std::countl_zero(Frac) - 21 : 0;
        return Frac ? Sign | static_cast<uint32_t>(127 - 14 - Up) << 23 | (Frac << (13 + Up) & 0x7FFFFF) : Sign;
    }
    return Sign | (Exp + 127 - 15) << 23 | Frac << 13;
}

uint16_t FloatToHalf(uint32_t a, uint32_t& Fpscr) {
    const CNumber A = Unpack(a, Fpscr);
    const uint16_t Sign = A.Sign ? 0x8000 : 0;
    const bool IsAlternative = Fpscr & FPSCR_AHP;
    if (A.IsNan()) {
        Fpscr |= A.Kind == EKind::SignallingNan || IsAlternative ? uint32_t(FPSCR_IOC) : 0;
        return IsAlternative        ? Sign
               : (Fpscr & FPSCR_DN) ? 0x7E00
                                    : static_cast<uint16_t>(Sign | 0x7E00 | (a >> 13 & 0x1FF));
    }
    if (A.Kind == EKind::Infinite) {
        Fpscr |= IsAlternative ? uint32_t(FPSCR_IOC) : 0;
        return static_cast<uint16_t>(Sign | (IsAlternative ? 0x7FFF : 0x7C00));
    }
    if (A.Kind == EKind::Zero) {
        return Sign;
    }
    return static_cast<uint16_t>(Pack<5, 10>(A.Sign, A.Exp, A.Mant, RoundingMode(Fpscr), Fpscr));
}

} // namespace Sim
