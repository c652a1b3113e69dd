// Handlers of loads and stores. The fast path is a memory of the target reached by the top byte of the address, an
// aligned item, no watchpoint and no protection; all else goes through CCpu::Load and Store.
#include "probe/sim/FastAccess.h"
#include "probe/sim/Handlers.h"

#include <bit>
#include <utility>

namespace Sim {
namespace {

using namespace Thumb;

constexpr uint32_t BytesOf(ESize Size) { return Size == SIZE_W ? 4 : (Size == SIZE_H || Size == SIZE_SH) ? 2 : 1; }

inline uint32_t Widen(uint32_t Value, ESize Size) {
    return Size == SIZE_SH   ? static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(Value)))
           : Size == SIZE_SB ? static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(Value)))
                             : Value;
}

template <EAddrMode Mode> inline uint32_t AddressOf(const CCpu& C, const COp* pOp) {
    if constexpr (Mode == ADDR_LITERAL) {
        return pOp->Imm;
    } else if constexpr (Mode == ADDR_REG) {
        return C.R[pOp->Rn] + (C.R[pOp->Rm] << pOp->ShAmt);
    } else if constexpr (Mode == ADDR_POST) {
        return C.R[pOp->Rn];
    } else {
        return C.R[pOp->Rn] + pOp->Imm;
    }
}

template <ESize Size, EAddrMode Mode> void Op_Load(SIM_ARGS) {
    const uint32_t Addr = AddressOf<Mode>(C, pOp);
    uint32_t Value;
    if (const uint8_t* p = FastRead<BytesOf(Size)>(C, Addr)) {
        Value = ReadItem<BytesOf(Size)>(p);
    } else {
        SIM_SYNC();
        if (!C.Load(Addr, BytesOf(Size), C.Loaded, pOp->Flags & FLAG_UNPRIV)) {
            SIM_TAIL LeaveChain(C, pOp, PC, pRing);
        }
        Value = C.Loaded;
    }
    if constexpr (Mode == ADDR_PRE || Mode == ADDR_POST) {
        const uint32_t NewBase = C.R[pOp->Rn] + pOp->Imm;
        C.R[pOp->Rn] = pOp->Rn == 13 ? NewBase & ~3u : NewBase;
    }
    C.R[pOp->Rd] = Widen(Value, Size);
    SIM_NEXT_LEN();
}

template <ESize Size, EAddrMode Mode> void Op_Store(SIM_ARGS) {
    const uint32_t Addr = AddressOf<Mode>(C, pOp);
    const uint32_t Value = C.R[pOp->Rd];
    if constexpr (Mode == ADDR_PRE || Mode == ADDR_POST) {
        if (pOp->Rn == 13 && C.R[13] + pOp->Imm < C.R[13]) {
            SIM_SYNC();
            if (!StackAllows(C, C.R[13] + pOp->Imm)) {
                SIM_TAIL LeaveChain(C, pOp, PC, pRing);
            }
        }
    }
    if (uint8_t* p = FastWrite<BytesOf(Size)>(C, Addr)) {
        WriteItem<BytesOf(Size)>(p, Value);
    } else {
        SIM_SYNC();
        if (!C.Store(Addr, BytesOf(Size), Value, pOp->Flags & FLAG_UNPRIV)) {
            SIM_TAIL LeaveChain(C, pOp, PC, pRing);
        }
    }
    if constexpr (Mode == ADDR_PRE || Mode == ADDR_POST) {
        const uint32_t NewBase = C.R[pOp->Rn] + pOp->Imm;
        C.R[pOp->Rn] = pOp->Rn == 13 ? NewBase & ~3u : NewBase;
    }
    SIM_NEXT_LEN();
}

// LDR of PC or SP.
void Op_LoadGeneric(SIM_ARGS) {
    const bool Writes = pOp->Ra == ADDR_PRE || pOp->Ra == ADDR_POST;
    uint32_t Addr = pOp->Imm;
    if (pOp->Ra == ADDR_REG) {
        Addr = AddressOf<ADDR_REG>(C, pOp);
    } else if (pOp->Ra == ADDR_POST) {
        Addr = C.R[pOp->Rn];
    } else if (pOp->Ra != ADDR_LITERAL) {
        Addr += C.R[pOp->Rn];
    }
    SIM_SYNC();
    const bool Ok = pOp->Rd == 15 ? C.LoadAligned(Addr, 4, C.Loaded) : C.Load(Addr, 4, C.Loaded);
    if (!Ok) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    const uint32_t Value = C.Loaded;
    if (Writes) {
        C.R[pOp->Rn] += pOp->Imm;
        C.R[13] &= ~3u;
    }
    if (pOp->Rd == 13) {
        C.R[13] = Value & ~3u;
        SIM_NEXT_LEN();
    }
    if (!C.BranchExchange(Value)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    SIM_JUMP(Value & ~1u);
}

void Op_Ldrd(SIM_ARGS) {
    const uint32_t Base = (pOp->Flags & FLAG_LITERAL) ? 0 : C.R[pOp->Rn];
    const uint32_t Addr = (pOp->Flags & FLAG_POST) ? Base : Base + pOp->Imm;
    SIM_SYNC();
    if (!C.LoadAligned(Addr, 4, C.LoadedLow) || !C.LoadAligned(Addr + 4, 4, C.Loaded)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    if (pOp->Flags & FLAG_WRITEBACK) {
        C.R[pOp->Rn] = Base + pOp->Imm;
        C.R[13] &= ~3u;
    }
    C.R[pOp->Rd] = C.LoadedLow;
    C.R[pOp->Ra] = C.Loaded;
    SIM_NEXT(2);
}

void Op_Strd(SIM_ARGS) {
    const uint32_t Base = C.R[pOp->Rn];
    const uint32_t Addr = (pOp->Flags & FLAG_POST) ? Base : Base + pOp->Imm;
    SIM_SYNC();
    if (!C.StoreAligned(Addr, 4, C.R[pOp->Rd]) || !C.StoreAligned(Addr + 4, 4, C.R[pOp->Ra])) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    if (pOp->Flags & FLAG_WRITEBACK) {
        C.R[pOp->Rn] = Base + pOp->Imm;
        C.R[13] &= ~3u;
    }
    SIM_NEXT(2);
}

// Loads the registers of List but the PC, whose value goes to Loaded. Nothing changes when a fault is raised, so that
// the instruction can start again.
[[gnu::noinline]] bool LoadList(CCpu& C, uint32_t Addr, uint32_t List) {
    uint32_t Values[16];
    const uint32_t NumBytes = static_cast<uint32_t>(std::popcount(List)) * 4;
    if (const uint8_t* p = FastReadBlock(C, Addr, NumBytes)) {
        std::memcpy(Values, p, NumBytes);
    } else {
        for (uint32_t Offset = 0; Offset < NumBytes; Offset += 4) {
            if (!C.LoadAligned(Addr + Offset, 4, Values[Offset / 4])) {
                return false;
            }
        }
    }
    const uint32_t* pValue = Values;
    for (uint32_t Rest = List & 0x7FFF; Rest; Rest &= Rest - 1) {
        C.R[std::countr_zero(Rest)] = *pValue++;
    }
    if (List & 0x8000) {
        C.Loaded = *pValue;
    }
    return true;
}

[[gnu::noinline]] bool StoreList(CCpu& C, uint32_t Addr, uint32_t List) {
    uint32_t Values[16];
    const uint32_t NumBytes = static_cast<uint32_t>(std::popcount(List)) * 4;
    uint32_t* pValue = Values;
    for (uint32_t Rest = List; Rest; Rest &= Rest - 1) {
        *pValue++ = C.R[std::countr_zero(Rest)];
    }
    if (uint8_t* p = FastWriteBlock(C, Addr, NumBytes)) {
        std::memcpy(p, Values, NumBytes);
        return true;
    }
    for (uint32_t Offset = 0; Offset < NumBytes; Offset += 4) {
        if (!C.StoreAligned(Addr + Offset, 4, Values[Offset / 4])) {
            return false;
        }
    }
    return true;
}

void Op_Ldm(SIM_ARGS) {
    const uint32_t NumBytes = static_cast<uint32_t>(std::popcount(pOp->Imm)) * 4;
    const bool Decrement = pOp->Flags & FLAG_DECREMENT;
    const uint32_t Base = C.R[pOp->Rn];
    SIM_SYNC();
    if (!LoadList(C, Decrement ? Base - NumBytes : Base, pOp->Imm)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    if (pOp->Flags & FLAG_WRITEBACK) {
        C.R[pOp->Rn] = Decrement ? Base - NumBytes : Base + NumBytes;
        C.R[13] &= ~3u;
    }
    if (!(pOp->Imm & 0x8000)) {
        SIM_NEXT_LEN();
    }
    if (!C.BranchExchange(C.Loaded)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    SIM_JUMP(C.Loaded & ~1u);
}

void Op_Stm(SIM_ARGS) {
    const uint32_t NumBytes = static_cast<uint32_t>(std::popcount(pOp->Imm)) * 4;
    const bool Decrement = pOp->Flags & FLAG_DECREMENT;
    const uint32_t Base = C.R[pOp->Rn];
    SIM_SYNC();
    if (!StoreList(C, Decrement ? Base - NumBytes : Base, pOp->Imm)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    if (pOp->Flags & FLAG_WRITEBACK) {
        C.R[pOp->Rn] = Decrement ? Base - NumBytes : Base + NumBytes;
        C.R[13] &= ~3u;
    }
    SIM_NEXT_LEN();
}

void Op_Push(SIM_ARGS) {
    const uint32_t NewSp = C.R[13] - static_cast<uint32_t>(std::popcount(pOp->Imm)) * 4;
    SIM_SYNC();
    if (!StackAllows(C, NewSp) || !StoreList(C, NewSp, pOp->Imm)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    C.R[13] = NewSp;
    SIM_NEXT_LEN();
}

void Op_Pop(SIM_ARGS) {
    const uint32_t Base = C.R[13];
    SIM_SYNC();
    if (!LoadList(C, Base, pOp->Imm)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    C.R[13] = Base + static_cast<uint32_t>(std::popcount(pOp->Imm)) * 4;
    if (!(pOp->Imm & 0x8000)) {
        SIM_NEXT_LEN();
    }
    if (!C.BranchExchange(C.Loaded)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    SIM_JUMP(C.Loaded & ~1u);
}

// The monitor is local and covers the word of the address.
void Op_Ldrex(SIM_ARGS) {
    const uint32_t Addr = C.R[pOp->Rn] + pOp->Imm;
    SIM_SYNC();
    if (!C.LoadAligned(Addr, BytesOf(static_cast<ESize>(pOp->ShAmt)), C.Loaded)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    C.ExclusiveValid = true;
    C.ExclusiveAddr = Addr;
    C.R[pOp->Rd] = C.Loaded;
    SIM_NEXT(2);
}

void Op_Strex(SIM_ARGS) {
    const uint32_t Addr = C.R[pOp->Rn] + pOp->Imm;
    const bool Passes = C.ExclusiveValid && C.ExclusiveAddr == Addr;
    SIM_SYNC();
    if (Passes && !C.StoreAligned(Addr, BytesOf(static_cast<ESize>(pOp->ShAmt)), C.R[pOp->Rd])) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    C.ExclusiveValid = false;
    C.R[pOp->Ra] = Passes ? 0 : 1;
    SIM_NEXT(2);
}

void Op_Lda(SIM_ARGS) {
    SIM_SYNC();
    if (!C.LoadAligned(C.R[pOp->Rn], BytesOf(static_cast<ESize>(pOp->ShAmt)), C.Loaded)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    C.R[pOp->Rd] = C.Loaded;
    SIM_NEXT(2);
}

void Op_Stl(SIM_ARGS) {
    SIM_SYNC();
    if (!C.StoreAligned(C.R[pOp->Rn], BytesOf(static_cast<ESize>(pOp->ShAmt)), C.R[pOp->Rd])) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    SIM_NEXT(2);
}

void Op_Clrex(SIM_ARGS) {
    C.ExclusiveValid = false;
    SIM_NEXT(2);
}

void Op_TestTarget(SIM_ARGS) {
    C.R[pOp->Rd] = C.TestTarget(C.R[pOp->Rn], pOp->Imm);
    SIM_NEXT(2);
}

template <bool Half> void Op_TableBranch(SIM_ARGS) {
    const uint32_t Base = pOp->Rn == 15 ? PC + 4 : C.R[pOp->Rn];
    SIM_SYNC();
    if (!C.Load(Base + (C.R[pOp->Rm] << (Half ? 1 : 0)), Half ? 2 : 1, C.Loaded)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    SIM_JUMP(PC + 4 + C.Loaded * 2);
}

template <size_t... Index> void AddLoads(FHandlerTable& Table, std::index_sequence<Index...>) {
    ((Table[OP_LOAD + Index] = &Op_Load<static_cast<ESize>(Index / 5), static_cast<EAddrMode>(Index % 5)>), ...);
}

template <size_t... Index> void AddStores(FHandlerTable& Table, std::index_sequence<Index...>) {
    ((Table[OP_STORE + Index] = &Op_Store<static_cast<ESize>(Index / 4), static_cast<EAddrMode>(Index % 4)>), ...);
}

} // namespace

void AddMemHandlers(FHandlerTable& Table) {
    AddLoads(Table, std::make_index_sequence<25>());
    AddStores(Table, std::make_index_sequence<12>());
    Table[OP_LOAD_GENERIC] = Op_LoadGeneric;
    Table[OP_LDRD] = Op_Ldrd;
    Table[OP_STRD] = Op_Strd;
    Table[OP_LDM] = Op_Ldm;
    Table[OP_STM] = Op_Stm;
    Table[OP_PUSH] = Op_Push;
    Table[OP_POP] = Op_Pop;
    Table[OP_LDREX] = Table[OP_LDAEX] = Op_Ldrex;
    Table[OP_STREX] = Table[OP_STLEX] = Op_Strex;
    Table[OP_LDA] = Op_Lda;
    Table[OP_STL] = Op_Stl;
    Table[OP_CLREX] = Op_Clrex;
    Table[OP_TT] = Op_TestTarget;
    Table[OP_TBB] = Op_TableBranch<false>;
    Table[OP_TBH] = Op_TableBranch<true>;
}

} // namespace Sim
