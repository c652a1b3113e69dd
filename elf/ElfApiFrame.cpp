#include "elf/ElfApiFrame.h"

#include "elf/CallSite.h"
#include "elf/DwarfConst.h"
#include "elf/ElfApiLines.h"
#include "elf/ElfApiState.h"
#include "elf/ElfReloc.h"

#include <deque>

// Evaluation of a symbol's location in a frame: answers what an expression asks, from the frame and from the file.

namespace {

constexpr U32 MAX_EVALUATIONS = 200; ///< of all expressions that one question leads to
constexpr U32 MAX_NESTING = 16;      ///< frame bases and entry values inside each other
constexpr U32 CONST_SIZE = 8;        ///< bytes of a constant in the file, whatever the size of an address

/// An expression copied out of the file, which another thread may close while it is evaluated.
struct EXPR {
    std::vector<U8> Bytes;
    U32 UnitDie = 0; ///< a DIE of the unit that it stands in
    U32 Die = 0;     ///< whose object it describes: the function around it has the frame base
};

/// The frame of a function that has jumped into another one: its stack is freed, its registers are the caller's again.
struct JUMP_FRAME {
    const ELF_FRAME& Caller;
    ELF_FRAME Frame;

    const ELF_FRAME& Make(U32 PC) {
        Frame.pContext = this;
        Frame.PC = PC;
        Frame.ResumePC = PC;
        Frame.pfReadReg = [](void* p, U32 Reg, U64* pValue) {
            const ELF_FRAME& Outer = static_cast<JUMP_FRAME*>(p)->Caller;
            return Outer.pfReadReg != nullptr ? Outer.pfReadReg(Outer.pContext, Reg, pValue) : -1;
        };
        Frame.pfReadMem = [](void* p, U32 Addr, U32 NumBytes, U8* pBuf) {
            const ELF_FRAME& Outer = static_cast<JUMP_FRAME*>(p)->Caller;
            return Outer.pfReadMem != nullptr ? Outer.pfReadMem(Outer.pContext, Addr, NumBytes, pBuf) : -1;
        };
        Frame.pfGetCaller = [](void* p, ELF_FRAME* pCaller) {
            *pCaller = static_cast<JUMP_FRAME*>(p)->Caller;
            return 0;
        };
        return Frame;
    }
};

class CResolver {
public:
    CResolver(const ELF_FRAME& Frame, const EXPR& Expr, U32* pBudget, U32 Depth)
        : m_Frame(Frame), m_Expr(Expr), m_pBudget(pBudget), m_Depth(Depth) {
        m_Env.pContext = this;
        m_Env.pfReadReg = [](void* p, U32 Reg, U64* pValue) { return This(p).ReadReg(Reg, pValue); };
        m_Env.pfReadMem = [](void* p, U32 Addr, U32 Num, U8* pBuf) { return This(p).ReadMem(Addr, Num, pBuf); };
        m_Env.pfGetFrameBase = [](void* p, U32* pAddr) { return This(p).GetFrameBase(pAddr); };
        m_Env.pfGetCfa = [](void* p, U32* pAddr) { return This(p).GetCfa(pAddr); };
        m_Env.pfGetAddr = [](void* p, U64 Idx, U32* pAddr) { return This(p).GetAddr(Idx, pAddr); };
        m_Env.pfMapAddr = MapAddr;
        m_Env.pfGetEntryValue = [](void* p, const U8* pExpr, U32 Num, U64* pValue) {
            return This(p).GetEntryValue(pExpr, Num, pValue);
        };
        m_Env.pfGetParam = [](void* p, U64 Off, U64* pValue) { return This(p).GetParam(Off, pValue); };
        m_Env.pfGetVariable = [](void* p, U64 Off, U64* pValue) { return This(p).GetVariable(Off, pValue); };
        m_Env.pfGetExpr = [](void* p, U64 Off, bool IsUnitRef, const U8** ppExpr, U32* pNum) {
            return This(p).GetExpr(Off, IsUnitRef, ppExpr, pNum);
        };
        m_Env.pfGetType = [](void* p, U64 Off, ELF_EXPR_TYPE* pType) { return This(p).GetType(Off, pType); };
        const std::lock_guard Lock(ElfApi_Mutex());
        const DWARF_UNIT* pUnit = FindUnit();
        m_Env.IsBigEndian = pUnit != nullptr && ELF_GetStore()->IsBig;
        m_Env.OffsetSize = pUnit != nullptr ? pUnit->OffsetSize : 4;
    }

    ELF_EXPR_RESULT Evaluate() {
        ELF_EXPR_RESULT Result;
        if (m_Depth < MAX_NESTING && *m_pBudget != 0) {
            --*m_pBudget;
            Result = ELF_EvalExpr(m_Expr.Bytes.data(), Size(), m_Env);
        }
        return Result;
    }
    int EvaluateValue(U64* pValue) {
        if (m_Depth >= MAX_NESTING || *m_pBudget == 0) {
            return ELF_EXPR_INVALID;
        }
        --*m_pBudget;
        return ELF_EvalExprValue(m_Expr.Bytes.data(), Size(), m_Env, nullptr, pValue);
    }

    int GetFrameBase(U32* pAddr);

private:
    static CResolver& This(void* p) { return *static_cast<CResolver*>(p); }
    static U32 MapAddr(U32 Addr) {
        const std::lock_guard Lock(ElfApi_Mutex());
        return ELF_Relocate(Addr);
    }
    U32 Size() const { return static_cast<U32>(m_Expr.Bytes.size()); }
    /// Null once the file is closed or another one.
    const DWARF_UNIT* FindUnit() const {
        const DWARF_STORE* pStore = ELF_GetStore();
        return pStore != nullptr && DWARF_IsDie(*pStore, m_Expr.UnitDie) ? DWARF_UnitOf(*pStore, m_Expr.UnitDie)
                                                                         : nullptr;
    }
    U32 DieInUnit(U64 Off) const {
        const DWARF_UNIT* pUnit = FindUnit();
        return pUnit != nullptr && Off < pUnit->End - pUnit->Off
                   ? DWARF_DieAt(*ELF_GetStore(), pUnit->Section, pUnit->Off + Off)
                   : 0;
    }

    int ReadReg(U32 Reg, U64* pValue) {
        return m_Frame.pfReadReg != nullptr ? m_Frame.pfReadReg(m_Frame.pContext, Reg, pValue) : -1;
    }
    int ReadMem(U32 Addr, U32 NumBytes, U8* pBuf) {
        return m_Frame.pfReadMem != nullptr ? m_Frame.pfReadMem(m_Frame.pContext, Addr, NumBytes, pBuf) : -1;
    }
    int GetCfa(U32* pAddr);
    int GetAddr(U64 Idx, U32* pAddr) {
        const std::lock_guard Lock(ElfApi_Mutex());
        const DWARF_UNIT* pUnit = FindUnit();
        U64 Addr = 0;
        if (pUnit == nullptr || !DWARF_ReadAddrIndex(*ELF_GetStore(), *pUnit, Idx, &Addr)) {
            return -1;
        }
        *pAddr = ELF_Relocate(static_cast<U32>(Addr));
        return 0;
    }
    int GetExpr(U64 Off, bool IsUnitRef, const U8** ppExpr, U32* pNumBytes);
    int GetType(U64 Off, ELF_EXPR_TYPE* pType);
    template <typename FIND> int GetFromCaller(FIND Find, U64* pValue);
    int GetEntryValue(const U8* pExpr, U32 NumBytes, U64* pValue) {
        return GetFromCaller(
            [&](U32 ReturnPC, CALL_VALUE* pCall) {
                return CALL_FindValue(m_Frame.PC, ReturnPC, pExpr, NumBytes, pCall);
            },
            pValue);
    }
    int GetParam(U64 Off, U64* pValue) {
        return GetFromCaller(
            [&](U32 ReturnPC, CALL_VALUE* pCall) {
                return CALL_FindParam(m_Frame.PC, ReturnPC, DieInUnit(Off), pCall);
            },
            pValue);
    }
    int GetVariable(U64 Off, U64* pValue);

    const ELF_FRAME& m_Frame;
    const EXPR& m_Expr;
    U32* m_pBudget;
    U32 m_Depth;
    ELF_EXPR_ENV m_Env;
    std::deque<std::vector<U8>> m_Called; ///< expressions of DW_OP_call while they run
};

/// Address that locations are looked up for. Compilers end the range of what a call may change one byte in front of
/// where it returns to: an outer frame sees the state during the call.
U32 LookUpPC(const ELF_FRAME& Frame) {
    const bool IsOuter = Frame.ResumePC != 0 && (Frame.ResumePC & ~1u) != (Frame.PC & ~1u);
    return IsOuter ? (Frame.ResumePC & ~1u) - 1 : Frame.PC & ~1u;
}

/// The attribute's expression at PC. False if there is none.
bool FindExpr(U32 Die, U32 At, U32 PC, EXPR* pExpr) {
    const U8* pBytes = nullptr;
    U32 Size = 0;
    if (ELF_GetStore() == nullptr ||
        !DWARF_FindExpr(*ELF_GetStore(), Die, At, ELF_Unrelocate(PC), &pBytes, &Size, &pExpr->UnitDie)) {
        return false;
    }
    pExpr->Bytes.assign(pBytes, pBytes + Size);
    pExpr->Die = Die;
    return true;
}

/// Number that a result stands for where an address is wanted: a register gives its content.
int ToAddr(const ELF_EXPR_RESULT& Result, const ELF_FRAME& Frame, U32* pAddr) {
    if (Result.Status != ELF_EXPR_OK || Result.Pieces.size() != 1 || Result.Pieces[0].BitSize != 0) {
        return -1;
    }
    const ELF_EXPR_PIECE& Piece = Result.Pieces[0];
    U64 Value = Piece.Value;
    switch (Piece.Kind) {
    case ELF_EXPR_PIECE_MEM:
        *pAddr = Piece.Addr;
        return 0;
    case ELF_EXPR_PIECE_REG:
        if (Frame.pfReadReg == nullptr || Frame.pfReadReg(Frame.pContext, Piece.Reg, &Value) != 0) {
            return -1;
        }
        break;
    case ELF_EXPR_PIECE_VALUE:
        break;
    default:
        return -1;
    }
    *pAddr = static_cast<U32>(Value);
    return 0;
}

int CResolver::GetFrameBase(U32* pAddr) {
    EXPR Expr;
    {
        const std::lock_guard Lock(ElfApi_Mutex());
        const DWARF_STORE* pStore = ELF_GetStore();
        U32 Func = pStore != nullptr ? m_Expr.Die : 0;
        while (Func != 0 && GetDieType(*pStore, Func) != DW_TAG_subprogram) {
            Func = GetParentDie(*pStore, Func);
        }
        if (Func == 0 || !FindExpr(Func, DW_AT_frame_base, LookUpPC(m_Frame), &Expr)) {
            return -1;
        }
    }
    return ToAddr(CResolver(m_Frame, Expr, m_pBudget, m_Depth + 1).Evaluate(), m_Frame, pAddr);
}

int CResolver::GetCfa(U32* pAddr) {
    if (m_Frame.pfGetCfa != nullptr) {
        return m_Frame.pfGetCfa(m_Frame.pContext, pAddr);
    }
    const ELF_SYM_LOC Rule = ElfApi_GetCFA(LookUpPC(m_Frame) & ~1u);
    U64 Value = 0;
    if (Rule.Kind != ELF_LOC_REG_OFF || ReadReg(Rule.Reg, &Value) != 0) {
        return -1;
    }
    *pAddr = static_cast<U32>(Value) + static_cast<U32>(Rule.Off);
    return 0;
}

int CResolver::GetExpr(U64 Off, bool IsUnitRef, const U8** ppExpr, U32* pNumBytes) {
    const std::lock_guard Lock(ElfApi_Mutex());
    EXPR Expr;
    const U32 Die = IsUnitRef                   ? DieInUnit(Off)
                    : ELF_GetStore() != nullptr ? DWARF_DieAt(*ELF_GetStore(), DSEC_INFO, Off)
                                                : 0;
    if (Die == 0) {
        return -1;
    }
    // Without a location the call does nothing. Indices in one of another unit would mean something else here.
    if (FindExpr(Die, DW_AT_location, LookUpPC(m_Frame), &Expr) &&
        DWARF_UnitOf(*ELF_GetStore(), Expr.UnitDie) != FindUnit()) {
        return -1;
    }
    m_Called.push_back(std::move(Expr.Bytes));
    *ppExpr = m_Called.back().data();
    *pNumBytes = static_cast<U32>(m_Called.back().size());
    return 0;
}

int CResolver::GetType(U64 Off, ELF_EXPR_TYPE* pType) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const U32 Die = DieInUnit(Off);
    U64 Size = 0;
    U64 Encoding = 0;
    if (Die == 0 || GetDieType(*ELF_GetStore(), Die) != DW_TAG_base_type ||
        !GetAttributeAsU64(*ELF_GetStore(), Die, DW_AT_byte_size, &Size) ||
        !GetAttributeAsU64(*ELF_GetStore(), Die, DW_AT_encoding, &Encoding)) {
        return -1;
    }
    *pType = {static_cast<U32>(Size), static_cast<U32>(Encoding)};
    return 0;
}

template <typename FIND> int CResolver::GetFromCaller(FIND Find, U64* pValue) {
    ELF_FRAME Caller;
    if (m_Frame.pfGetCaller == nullptr || m_Frame.pfGetCaller(m_Frame.pContext, &Caller) != 0) {
        return ELF_EXPR_OPTIMIZED_OUT;
    }
    CALL_VALUE Call;
    {
        const std::lock_guard Lock(ElfApi_Mutex());
        if (!Find(Caller.ResumePC & ~1u, &Call)) {
            return ELF_EXPR_OPTIMIZED_OUT;
        }
    }
    if (!Call.Target.empty()) {
        const EXPR Target = {std::move(Call.Target), Call.Die, Call.Die};
        U64 Called = 0;
        if (CResolver(Caller, Target, m_pBudget, m_Depth + 1).EvaluateValue(&Called) != ELF_EXPR_OK ||
            (Called & ~1ull) != Call.Entry) {
            return ELF_EXPR_OPTIMIZED_OUT;
        }
    }
    const EXPR Expr = {std::move(Call.Expr), Call.Die, Call.Die};
    if (Call.JumpPC == 0) {
        return CResolver(Caller, Expr, m_pBudget, m_Depth + 1).EvaluateValue(pValue);
    }
    JUMP_FRAME Jump = {Caller, {}};
    return CResolver(Jump.Make(Call.JumpPC), Expr, m_pBudget, m_Depth + 1).EvaluateValue(pValue);
}

ELF_SYM_PIECE MakePiece(const ELF_EXPR_PIECE& From) {
    ELF_SYM_PIECE Piece;
    Piece.Kind = From.Kind;
    Piece.Addr = From.Addr;
    Piece.Reg = From.Reg;
    Piece.Off = From.Off;
    Piece.Value = From.Value;
    Piece.NumBytes = From.NumBytes;
    Piece.BitSize = From.BitSize;
    Piece.BitOffset = From.BitOffset;
    if (From.Kind == ELF_EXPR_PIECE_BYTES) {
        Piece.Bytes = QByteArray(reinterpret_cast<const char*>(From.pData), static_cast<qsizetype>(From.NumBytes));
    } else if (From.Kind == ELF_EXPR_PIECE_IMPLICIT_PTR) {
        const std::lock_guard Lock(ElfApi_Mutex());
        const DWARF_STORE* pStore = ELF_GetStore();
        Piece.hSym = pStore != nullptr ? ELF_MakeDwarfHandle(DWARF_DieAt(*pStore, DSEC_INFO, From.Value)) : 0;
    }
    return Piece;
}

ELF_SYM_PLACE OnePiece(ELF_SYM_PIECE Piece) { return {ELF_EXPR_OK, {std::move(Piece)}}; }

ELF_SYM_PLACE ConstPlace(const DWARF_ATTR& Attr) {
    ELF_SYM_PIECE Piece;
    Piece.Kind = ELF_EXPR_PIECE_BYTES;
    switch (Attr.Class) {
    case ATTR_BLOCK:
    case ATTR_EXPR:
        Piece.Bytes = QByteArray(reinterpret_cast<const char*>(Attr.pBlock), static_cast<qsizetype>(Attr.BlockSize));
        break;
    case ATTR_STRING:
        Piece.Bytes = QByteArray(Attr.sText.data(), static_cast<qsizetype>(Attr.sText.size())).append('\0');
        break;
    case ATTR_NUM:
    case ATTR_SNUM:
    case ATTR_FLAG:
        Piece.Kind = ELF_EXPR_PIECE_VALUE;
        Piece.Value = Attr.Value;
        Piece.NumBytes = CONST_SIZE;
        break;
    default:
        return {};
    }
    return OnePiece(Piece);
}

/// True if PC lies in the innermost block or function with code around the DIE, or nothing around it has code.
bool IsVisible(const DWARF_STORE& S, U32 Die, U32 PC) {
    for (U32 Scope = GetAnyDieAncestor(S, Die); Scope != 0; Scope = GetAnyDieAncestor(S, Scope)) {
        const std::vector<ELF_RANGE> Ranges = GetDieRanges(S, Scope);
        for (const ELF_RANGE& Range : Ranges) {
            if (PC >= Range.Lo && PC < Range.Hi) {
                return true;
            }
        }
        if (!Ranges.empty()) {
            return false;
        }
    }
    return true;
}

/// What the file says of the symbol without an evaluation; false if pExpr is to be evaluated.
bool FindPlace(ELF_SYM_HANDLE h, U32 PC, ELF_SYM_PLACE* pPlace, EXPR* pExpr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const U32 Die = GetDie(h);
    if (Die == 0) {
        const ELF_SYM_LOC Loc = ELF_GetSymLoc(h, PC);
        ELF_SYM_PIECE Piece;
        Piece.Kind = ELF_EXPR_PIECE_MEM;
        Piece.Addr = Loc.Addr;
        *pPlace = Loc.Kind == ELF_LOC_MEM ? OnePiece(Piece) : ELF_SYM_PLACE();
        return true;
    }
    const DWARF_STORE& S = *ELF_GetStore();
    if (!IsVisible(S, Die, ELF_Unrelocate(PC))) {
        pPlace->Status = ELF_EXPR_UNAVAILABLE;
        return true;
    }
    pPlace->Status = ELF_EXPR_OPTIMIZED_OUT;
    if (FindExpr(Die, DW_AT_location, PC, pExpr)) {
        return ELF_IsDropped(h);
    }
    DWARF_ATTR Attr;
    if (CreateDieAttrEx(S, Die, DW_AT_const_value, &Attr)) {
        *pPlace = ConstPlace(Attr);
    }
    return true;
}

ELF_SYM_PLACE GetPlace(ELF_SYM_HANDLE h, const ELF_FRAME& Frame, U32* pBudget, U32 Depth) {
    ELF_SYM_PLACE Place;
    EXPR Expr;
    if (FindPlace(h, LookUpPC(Frame), &Place, &Expr)) {
        return Place;
    }
    const ELF_EXPR_RESULT Result = CResolver(Frame, Expr, pBudget, Depth).Evaluate();
    Place.Status = Result.Status;
    for (const ELF_EXPR_PIECE& Piece : Result.Pieces) {
        Place.Pieces.append(MakePiece(Piece));
    }
    return Place;
}

int CResolver::GetVariable(U64 Off, U64* pValue) {
    ELF_SYM_HANDLE h = 0;
    {
        const std::lock_guard Lock(ElfApi_Mutex());
        h = ELF_GetStore() != nullptr ? ELF_MakeDwarfHandle(DWARF_DieAt(*ELF_GetStore(), DSEC_INFO, Off)) : 0;
    }
    if (h == 0 || m_Depth >= MAX_NESTING) {
        return ELF_EXPR_INVALID;
    }
    const U32 NumBytes = ElfApi_GetSymSize(h);
    const ELF_SYM_VALUE Value = NumBytes <= sizeof(*pValue)
                                    ? ElfApi_ReadPlace(GetPlace(h, m_Frame, m_pBudget, m_Depth + 1), NumBytes, m_Frame)
                                    : ELF_SYM_VALUE();
    if (Value.Status != ELF_EXPR_OK) {
        return Value.Status;
    }
    *pValue = 0;
    for (U32 i = 0; i < NumBytes; ++i) {
        const U64 Byte = static_cast<U8>(Value.Bytes[static_cast<qsizetype>(m_Env.IsBigEndian ? NumBytes - 1 - i : i)]);
        *pValue |= Byte << (8 * i);
    }
    const bool IsNegative = NumBytes != 0 && ElfApi_IsSymSigned(h) && (*pValue >> (8 * NumBytes - 1)) != 0;
    *pValue |= IsNegative && NumBytes < 8 ? ~0ull << (8 * NumBytes) : 0;
    return ELF_EXPR_OK;
}

} // namespace

ELF_SYM_PLACE ElfApi_GetSymPlace(ELF_SYM_HANDLE h, const ELF_FRAME& Frame) {
    U32 Budget = MAX_EVALUATIONS;
    return GetPlace(h, Frame, &Budget, 0);
}

ELF_SYM_VALUE ElfApi_ReadSym(ELF_SYM_HANDLE h, const ELF_FRAME& Frame) {
    return ElfApi_ReadPlace(ElfApi_GetSymPlace(h, Frame), ElfApi_GetSymSize(h), Frame);
}

int ElfApi_GetFrameBase(const ELF_FRAME& Frame, U32* pAddr) {
    U32 Budget = MAX_EVALUATIONS;
    EXPR Func;
    {
        const std::lock_guard Lock(ElfApi_Mutex());
        Func.Die = ELF_GetStore() != nullptr ? CALL_FuncAt(Frame.PC) : 0;
        Func.UnitDie = Func.Die;
    }
    return Func.Die != 0 ? CResolver(Frame, Func, &Budget, 0).GetFrameBase(pAddr) : -1;
}

QString ElfApi_StatusText(int Status) { return QString::fromLatin1(ELF_ExprStatusText(Status)); }
