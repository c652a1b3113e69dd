#pragma once
// What the handlers of decoded instructions have in common: the ways a handler ends. Each handler gets the processor,
// its cache entry, its own address and the trace pointer, and ends in exactly one of these.

#include "probe/sim/Cpu.h"

#include <cstring>

// A call in tail position must become a jump. clang is told so; g++ does it at -O2. Where it is not done the chain is
// MAX_SLICE frames deep at most.
#if defined(__clang__)
#define SIM_TAIL [[clang::musttail]] return
#else
#define SIM_TAIL return
#endif
#define SIM_ARGS                                                                                                       \
    [[maybe_unused]] CCpu &C, [[maybe_unused]] COp *pOp, [[maybe_unused]] uint32_t PC, [[maybe_unused]] uint32_t *pRing
#define SIM_LIKELY(x) __builtin_expect(!!(x), 1)
#define SIM_UNLIKELY(x) __builtin_expect(!!(x), 0)

// Counts and executes the instruction at PC, whose entry is pOp.
#define SIM_DISPATCH()                                                                                                 \
    do {                                                                                                               \
        if (SIM_UNLIKELY(pRing == C.pStop)) {                                                                          \
            SIM_TAIL Sim::StopChain(C, pOp, PC, pRing);                                                                \
        }                                                                                                              \
        *pRing++ = PC;                                                                                                 \
        pOp->Count++;                                                                                                  \
        SIM_TAIL Sim::Handlers[pOp->Code](C, pOp, PC, pRing);                                                          \
    } while (0)

// Goes on with the instruction that follows one of NumHalf halfwords.
#define SIM_NEXT(NumHalf)                                                                                              \
    do {                                                                                                               \
        const uint32_t Halves = (NumHalf);                                                                             \
        pOp += Halves;                                                                                                 \
        PC += 2 * Halves;                                                                                              \
        SIM_DISPATCH();                                                                                                \
    } while (0)
#define SIM_NEXT_LEN() SIM_NEXT(pOp->Len / 2)

// Goes on at Target (bit 0 clear).
#define SIM_JUMP(Target)                                                                                               \
    do {                                                                                                               \
        PC = (Target);                                                                                                 \
        if (SIM_UNLIKELY(PC - C.CodeBase >= C.CodeSize)) {                                                             \
            SIM_TAIL Sim::JumpOut(C, pOp, PC, pRing);                                                                  \
        }                                                                                                              \
        pOp = &C.pCodeOps[(PC - C.CodeBase) / 2];                                                                      \
        SIM_DISPATCH();                                                                                                \
    } while (0)

// Stores what the slow paths need to know.
#define SIM_SYNC()                                                                                                     \
    do {                                                                                                               \
        C.Pc = PC;                                                                                                     \
        C.pRing = pRing;                                                                                               \
    } while (0)

namespace Sim {

// The slice or one instruction of an IT block is over; PC is the next instruction.
void StopChain(SIM_ARGS);
// One instruction of an IT block: the chain stops behind it, so that StopChain takes the next.
void RunInIT(SIM_ARGS);
// Leaves the chain with PC as the next address, which is outside the region being executed.
void JumpOut(SIM_ARGS);
// Leaves the chain because of an event raised by the instruction at PC, after SIM_SYNC.
void LeaveChain(SIM_ARGS);

template <typename T> inline T ReadHost(const uint8_t* p) {
    T Value;
    std::memcpy(&Value, p, sizeof(T));
    return Value;
}
template <typename T> inline void WriteHost(uint8_t* p, T Value) { std::memcpy(p, &Value, sizeof(T)); }

inline void SetNZ(CCpu& C, uint32_t Result) { C.N = C.Z = Result; }

// AddWithCarry of the architecture manual.
template <bool SetFlags> inline uint32_t AddCarry(CCpu& C, uint32_t a, uint32_t b, uint32_t Carry) {
    const uint64_t Wide = uint64_t(a) + b + Carry;
    const uint32_t Result = static_cast<uint32_t>(Wide);
    if constexpr (SetFlags) {
        C.C = static_cast<uint32_t>(Wide >> 32);
        C.V = (a ^ Result) & (b ^ Result);
        SetNZ(C, Result);
    }
    return Result;
}

// Shift_C with an amount above 0 for all but LSL; Carry is updated.
inline uint32_t ShiftC(uint32_t Value, uint32_t Type, uint32_t Amount, uint32_t& Carry) {
    switch (Type) {
    case Thumb::SHIFT_LSL:
        if (Amount == 0) {
            return Value;
        }
        Carry = Amount > 32 ? 0 : (Value >> (32 - Amount)) & 1;
        return Amount > 31 ? 0 : Value << Amount;
    case Thumb::SHIFT_LSR:
        Carry = Amount > 32 ? 0 : (Value >> (Amount - 1)) & 1;
        return Amount > 31 ? 0 : Value >> Amount;
    case Thumb::SHIFT_ASR:
        Amount = Amount > 32 ? 32 : Amount;
        Carry = static_cast<uint32_t>(static_cast<int32_t>(Value) >> (Amount - 1)) & 1;
        return static_cast<uint32_t>(static_cast<int32_t>(Value) >> (Amount > 31 ? 31 : Amount));
    case Thumb::SHIFT_ROR: {
        const uint32_t Turn = Amount & 31;
        const uint32_t Result = Turn ? Value >> Turn | Value << (32 - Turn) : Value;
        Carry = Result >> 31;
        return Result;
    }
    default: { // RRX
        const uint32_t Result = Value >> 1 | Carry << 31;
        Carry = Value & 1;
        return Result;
    }
    }
}

// One data processing operation on two operands; Carry is the shifter's for the logical ones.
template <Thumb::EAlu Alu, bool SetFlags> inline uint32_t AluResult(CCpu& C, uint32_t a, uint32_t b, uint32_t Carry) {
    using namespace Thumb;
    if constexpr (Alu == ALU_ADD || Alu == ALU_CMN) {
        return AddCarry<SetFlags>(C, a, b, 0);
    } else if constexpr (Alu == ALU_ADC) {
        return AddCarry<SetFlags>(C, a, b, C.C);
    } else if constexpr (Alu == ALU_SBC) {
        return AddCarry<SetFlags>(C, a, ~b, C.C);
    } else if constexpr (Alu == ALU_SUB || Alu == ALU_CMP) {
        return AddCarry<SetFlags>(C, a, ~b, 1);
    } else if constexpr (Alu == ALU_RSB) {
        return AddCarry<SetFlags>(C, ~a, b, 1);
    } else {
        uint32_t Result = b;
        if constexpr (Alu == ALU_AND || Alu == ALU_TST) {
            Result = a & b;
        } else if constexpr (Alu == ALU_BIC) {
            Result = a & ~b;
        } else if constexpr (Alu == ALU_ORR) {
            Result = a | b;
        } else if constexpr (Alu == ALU_ORN) {
            Result = a | ~b;
        } else if constexpr (Alu == ALU_EOR || Alu == ALU_TEQ) {
            Result = a ^ b;
        } else if constexpr (Alu == ALU_MVN) {
            Result = ~b;
        }
        if constexpr (SetFlags) {
            C.C = Carry;
            SetNZ(C, Result);
        }
        return Result;
    }
}

using FHandlerTable = std::array<FHandler, Thumb::OP_COUNT>;
// Each fills in the handlers of its file.
void AddAluHandlers(FHandlerTable& Table);
void AddMemHandlers(FHandlerTable& Table);
void AddFlowHandlers(FHandlerTable& Table);
void AddVfpHandlers(FHandlerTable& Table);
void Op_Dsp(SIM_ARGS);

} // namespace Sim
