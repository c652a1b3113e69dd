// Handlers of branches, IT blocks, system instructions and of the entries that stand for something else.
#include "probe/sim/Handlers.h"

#include <utility>

namespace Sim {
namespace {

using namespace Thumb;

void Op_NotDecoded(SIM_ARGS) {
    C.DecodeAt(pOp, PC);
    SIM_TAIL Handlers[C.IT ? pOp->CodeInIT : pOp->Code](C, pOp, PC, pRing);
}

// Neither the breakpoint nor the end of a region is an instruction: what was counted is taken back.
void Op_Breakpoint(SIM_ARGS) {
    pOp->Count--;
    C.Pc = PC;
    C.pRing = pRing - 1;
    C.Events |= EVENT_BREAKPOINT;
}

void Op_RegionEnd(SIM_ARGS) {
    pOp->Count--;
    C.Pc = PC;
    C.pRing = pRing - 1;
}

void Op_Undefined(SIM_ARGS) {
    SIM_SYNC();
    C.RaiseFault(EXC_USAGE_FAULT, CFSR_UNDEFINSTR);
    SIM_TAIL LeaveChain(C, pOp, PC, pRing);
}

void Op_FetchFault(SIM_ARGS) {
    SIM_SYNC();
    C.RaiseFault(EXC_BUS_FAULT, CFSR_IBUSERR);
    SIM_TAIL LeaveChain(C, pOp, PC, pRing);
}

void Op_NoCoproc(SIM_ARGS) {
    SIM_SYNC();
    C.RaiseFault(EXC_USAGE_FAULT, CFSR_NOCP);
    SIM_TAIL LeaveChain(C, pOp, PC, pRing);
}

void Op_Nop(SIM_ARGS) { SIM_NEXT_LEN(); }

void Op_MovToPc(SIM_ARGS) { SIM_JUMP(C.R[pOp->Rm] & ~1u); }

void Op_AddToPc(SIM_ARGS) { SIM_JUMP((pOp->Imm + C.R[pOp->Rm]) & ~1u); }

void Op_B(SIM_ARGS) { SIM_JUMP(pOp->Imm); }

void Op_Bl(SIM_ARGS) {
    C.R[14] = (PC + 4) | 1;
    SIM_JUMP(pOp->Imm);
}

void Op_Bx(SIM_ARGS) {
    const uint32_t Target = C.R[pOp->Rm];
    if (SIM_UNLIKELY(Target >= 0xE0000000 || !(Target & 1))) {
        SIM_SYNC();
        if (!C.BranchExchange(Target)) {
            SIM_TAIL LeaveChain(C, pOp, PC, pRing);
        }
    }
    SIM_JUMP(Target & ~1u);
}

void Op_BlxReg(SIM_ARGS) {
    const uint32_t Target = C.R[pOp->Rm];
    C.R[14] = (PC + 2) | 1;
    if (SIM_UNLIKELY(!(Target & 1))) {
        SIM_SYNC();
        C.BranchExchange(Target);
        return;
    }
    SIM_JUMP(Target & ~1u);
}

template <uint32_t Cond> inline bool Passes(const CCpu& C) {
    const bool Negative = C.N >> 31, Overflow = C.V >> 31;
    bool Result;
    switch (Cond >> 1) {
    case 0:
        Result = C.Z == 0;
        break;
    case 1:
        Result = C.C;
        break;
    case 2:
        Result = Negative;
        break;
    case 3:
        Result = Overflow;
        break;
    case 4:
        Result = C.C && C.Z != 0;
        break;
    case 5:
        Result = Negative == Overflow;
        break;
    case 6:
        Result = C.Z != 0 && Negative == Overflow;
        break;
    default:
        return true;
    }
    return Result != (Cond & 1);
}

template <uint32_t Cond> void Op_BCond(SIM_ARGS) {
    if (Passes<Cond>(C)) {
        SIM_JUMP(pOp->Imm);
    }
    pOp->Skip++;
    C.SkipTotal++;
    SIM_NEXT_LEN();
}

void Op_Cbz(SIM_ARGS) {
    if (C.R[pOp->Rn] == 0) {
        SIM_JUMP(pOp->Imm);
    }
    pOp->Skip++;
    C.SkipTotal++;
    SIM_NEXT(1);
}

void Op_Cbnz(SIM_ARGS) {
    if (C.R[pOp->Rn] != 0) {
        SIM_JUMP(pOp->Imm);
    }
    pOp->Skip++;
    C.SkipTotal++;
    SIM_NEXT(1);
}

void Op_It(SIM_ARGS) {
    C.IT = static_cast<uint8_t>(pOp->Imm);
    PC += 2;
    pOp++;
    SIM_TAIL RunInIT(C, pOp, PC, pRing);
}

void Op_Svc(SIM_ARGS) {
    if (C.IT) {
        C.IT = C.NextIT;
    }
    C.Pc = PC + 2;
    C.pRing = pRing;
    C.Events |= EVENT_SVC;
}

void Op_Bkpt(SIM_ARGS) {
    SIM_SYNC();
    C.Events |= EVENT_BKPT;
}

void Op_Cps(SIM_ARGS) {
    if (C.IsPrivileged()) {
        const uint32_t Value = pOp->Imm >> 4;
        if (pOp->Imm & 2) {
            C.Primask = Value;
        }
        if ((pOp->Imm & 1) && !C.IsV6() && (Value == 0 || C.ExecutionPriority() > -1)) {
            C.Faultmask = Value;
        }
    }
    SIM_SYNC();
    C.EndSlice();
    SIM_NEXT(1);
}

void Op_Mrs(SIM_ARGS) {
    C.R[pOp->Rd] = C.ReadSpecial(pOp->Imm);
    SIM_NEXT(2);
}

void Op_Msr(SIM_ARGS) {
    SIM_SYNC();
    C.WriteSpecial(pOp->Imm, pOp->Ra, C.R[pOp->Rn]);
    C.EndSlice();
    SIM_NEXT(2);
}

void Op_Wfi(SIM_ARGS) {
    SIM_SYNC();
    C.Events |= EVENT_SLEEP;
    C.EndSlice();
    SIM_NEXT_LEN();
}

void Op_Wfe(SIM_ARGS) {
    if (C.EventRegister) {
        C.EventRegister = false;
        SIM_NEXT_LEN();
    }
    SIM_SYNC();
    C.Events |= EVENT_SLEEP;
    C.EndSlice();
    SIM_NEXT_LEN();
}

void Op_Sev(SIM_ARGS) {
    C.EventRegister = true;
    SIM_NEXT_LEN();
}

// Memory is sequentially consistent here; a barrier only lets interrupts that it must be ordered with come first.
void Op_Barrier(SIM_ARGS) {
    SIM_SYNC();
    C.EndSlice();
    SIM_NEXT(2);
}

template <size_t... Index> void AddConditional(FHandlerTable& Table, std::index_sequence<Index...>) {
    ((Table[OP_B_COND + Index] = &Op_BCond<Index>), ...);
}

} // namespace

static constexpr uint8_t AdvanceIT(uint8_t IT) {
    return (IT & 7) == 0 ? 0 : static_cast<uint8_t>((IT & 0xE0) | (IT << 1 & 0x1F));
}

void RunInIT(SIM_ARGS) {
    if (pRing == C.pLimit) {
        C.Pc = PC;
        C.pRing = pRing;
        return;
    }
    if (pOp->Code == OP_NOT_DECODED) {
        C.DecodeAt(pOp, PC);
    }
    *pRing++ = PC;
    pOp->Count++;
    C.pStop = pRing;
    C.NextIT = AdvanceIT(C.IT);
    // A breakpoint instruction and the debugger's breakpoints don't depend on the condition.
    const bool Always = pOp->Code == OP_BREAKPOINT || pOp->Code == OP_BKPT || pOp->Code == OP_REGION_END;
    if (Always || C.CondPasses(C.IT >> 4)) {
        SIM_TAIL Handlers[pOp->CodeInIT](C, pOp, PC, pRing);
    }
    pOp->Skip++;
    C.SkipTotal++;
    SIM_NEXT_LEN();
}

void StopChain(SIM_ARGS) {
    if (C.IT) {
        C.IT = C.NextIT;
        if (C.IT) {
            SIM_TAIL RunInIT(C, pOp, PC, pRing);
        }
        C.pStop = C.pLimit;
        if (pRing != C.pStop) {
            *pRing++ = PC;
            pOp->Count++;
            SIM_TAIL Handlers[pOp->Code](C, pOp, PC, pRing);
        }
    }
    C.Pc = PC;
    C.pRing = pRing;
}

void JumpOut(SIM_ARGS) {
    if (C.IT) {
        C.IT = C.NextIT;
    }
    C.Pc = PC;
    C.pRing = pRing;
}

void LeaveChain(SIM_ARGS) {}

void AddFlowHandlers(FHandlerTable& Table) {
    AddConditional(Table, std::make_index_sequence<14>());
    Table[OP_NOT_DECODED] = Op_NotDecoded;
    Table[OP_BREAKPOINT] = Op_Breakpoint;
    Table[OP_REGION_END] = Op_RegionEnd;
    Table[OP_UNDEFINED] = Op_Undefined;
    Table[OP_FETCH_FAULT] = Op_FetchFault;
    Table[OP_NO_COPROC] = Op_NoCoproc;
    Table[OP_NOP] = Op_Nop;
    Table[OP_MOV_TO_PC] = Op_MovToPc;
    Table[OP_ADD_TO_PC] = Op_AddToPc;
    Table[OP_B] = Op_B;
    Table[OP_BL] = Op_Bl;
    Table[OP_BX] = Op_Bx;
    Table[OP_BLX_REG] = Op_BlxReg;
    Table[OP_CBZ] = Op_Cbz;
    Table[OP_CBNZ] = Op_Cbnz;
    Table[OP_IT] = Op_It;
    Table[OP_SVC] = Op_Svc;
    Table[OP_BKPT] = Op_Bkpt;
    Table[OP_CPS] = Op_Cps;
    Table[OP_MRS] = Op_Mrs;
    Table[OP_MSR] = Op_Msr;
    Table[OP_WFI] = Op_Wfi;
    Table[OP_WFE] = Op_Wfe;
    Table[OP_SEV] = Op_Sev;
    Table[OP_BARRIER] = Op_Barrier;
    Table[OP_DSP] = Op_Dsp;
}

const FHandlerTable Handlers = [] {
    FHandlerTable Table;
    Table.fill(Op_Undefined);
    AddAluHandlers(Table);
    AddMemHandlers(Table);
    AddFlowHandlers(Table);
    AddVfpHandlers(Table);
    return Table;
}();

} // namespace Sim
