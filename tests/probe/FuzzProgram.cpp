#include "FuzzProgram.h"

#include <algorithm>
#include <iterator>

using namespace Thumb;

namespace {

constexpr uint32_t SPECIAL_INTS[] = {0,          1,          2,          31,         32,         33,
                                     0x7F,       0x80,       0xFF,       0x100,      0x7FFF,     0x8000,
                                     0xFFFF,     0x10000,    0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF,
                                     0xFFFFFFFE, 0x80008000, 0x7FFF7FFF, 0x80007FFF, 0x7F807F80, 0x55555555};
constexpr uint32_t SPECIAL_FLOATS[] = {
    0x00000000, 0x80000000, 0x3F800000, 0xBF800000, 0x7F800000, 0xFF800000, // zeros, ones, infinities
    0x7FC00000, 0xFFC00000, 0x7FC12345, 0x7F800001, 0xFF812345, 0x7FBFFFFF, // quiet and signalling NaNs
    0x00000001, 0x80000001, 0x007FFFFF, 0x807FFFFF, 0x00400000, 0x00001234, // denormal
    0x00800000, 0x80800000, 0x7F7FFFFF, 0xFF7FFFFF, 0x00800001, 0x3F7FFFFF, // limits
    0x4F000000, 0xCF000000, 0x4F800000, 0x4EFFFFFF, 0x3F000000, 0x3FC00000, // limits of integers, halves
    0xBF000000, 0x40200000, 0x4B000001, 0x4B7FFFFF, 0x38800000, 0x33800000, // limits of half precision
    0x477FE000, 0x477FF000, 0x387FC000, 0x34000000, 0x5F000000, 0x1F800000};

constexpr uint32_t STACK = 0x3800; // from the start of the RAM

class CMaker {
public:
    CMaker(const CFuzzTarget& Target, uint32_t Seed) : m_Target(Target), m_Random(Seed) {}
    CFuzzProgram Make(size_t NumCases);

private:
    uint32_t Rand(uint32_t Limit) { return static_cast<uint32_t>(m_Random() % Limit); }
    bool OneIn(uint32_t n) { return Rand(n) == 0; }
    uint32_t Here() const { return m_Target.CodeBase + static_cast<uint32_t>(m_Out.Image.size() * 2); }
    void Emit(uint32_t Half) { m_Out.Image.push_back(static_cast<uint16_t>(Half)); }
    void Emit(std::initializer_list<uint32_t> Halves) {
        for (const uint32_t Half : Halves) {
            Emit(Half);
        }
    }
    bool IsSmall() const { return m_Target.Arch == ARCH_V6M; }
    void LoadConst(uint32_t Reg, uint32_t Value);
    uint32_t AnyInt();
    uint32_t AnyFloat();
    void EmitHandlers();
    void EmitStart();
    void AnyEncoding(uint16_t& First, uint16_t& Second);
    bool IsTestable(const CInst& I, uint16_t First, uint16_t Second) const;
    void LoadOperands(const CInst& I);
    void LoadFloats(const CInst& I);
    void EmitCase();
    void EmitBranch();
    void EmitIndirect();
    void EmitItBlock();
    bool IsMemory(const CInst& I) const;
    uint32_t AnyBase();

    const CFuzzTarget& m_Target;
    std::mt19937 m_Random;
    CFuzzProgram m_Out;
};

void CMaker::LoadConst(uint32_t Reg, uint32_t Value) {
    if (!IsSmall()) {
        for (const uint32_t Op : {0xF240u, 0xF2C0u}) { // movw, movt
            const uint32_t Half = Op == 0xF240u ? Value & 0xFFFF : Value >> 16;
            Emit(Op | (Half >> 12) | (Half >> 11 & 1) << 10);
            Emit((Half >> 8 & 7) << 12 | Reg << 8 | (Half & 0xFF));
        }
        return;
    }
    if (Here() & 2) {
        Emit(0xBF00);
    }
    const uint32_t Low = Reg < 8 ? Reg : 0;
    Emit({0x4800 | Low << 8, 0xE001, Value & 0xFFFF, Value >> 16}); // ldr low, [pc]; b over the word
    if (Reg > 7) {
        Emit(0x4600 | (Reg & 8) << 4 | (Reg & 7)); // mov reg, r0
    }
}

uint32_t CMaker::AnyInt() {
    return OneIn(2) ? SPECIAL_INTS[Rand(std::size(SPECIAL_INTS))] : static_cast<uint32_t>(m_Random());
}

uint32_t CMaker::AnyFloat() {
    switch (Rand(4)) {
    case 0: // near 1, where sums and products neither overflow nor vanish
        return (static_cast<uint32_t>(m_Random()) & 0x83FFFFFF) | 0x3C000000;
    case 1:
        return static_cast<uint32_t>(m_Random());
    default:
        return SPECIAL_FLOATS[Rand(std::size(SPECIAL_FLOATS))];
    }
}

// The fault handler reads and clears the status registers, makes the state Thumb and no IT block, and moves the return
// address behind the faulting instruction. That of the other exceptions returns.
void CMaker::EmitHandlers() {
    const uint32_t Handler = Here();
    if (!IsSmall()) {
        LoadConst(0, 0xE000ED28);
        Emit({0x6801, 0x6001, 0x6842, 0x6042}); // ldr, str CFSR and HFSR
        m_Out.BfarAddr = Here();
        Emit({0x6903, 0x089B}); // ldr r3, BFAR
    }
    Emit({0x9806, 0x8801, 0x0AC9, 0x3002, 0x291D, 0xD300, 0x3002, 0x9006}); // PC: +2, +4 from 0xE800 on
    LoadConst(2, 0xF8FF03FF);
    LoadConst(3, 0x01000000);
    Emit({0x9907, 0x4011, 0x4319, 0x9107, 0x4770}); // xPSR: and, or; bx lr
    const uint32_t Return = Here();
    Emit({0x4770, 0xBF00});
    for (uint32_t Vector = 2; Vector < 16; Vector++) {
        const uint32_t Addr = (Vector < 7 ? Handler : Return) | 1;
        m_Out.Image[Vector * 2] = static_cast<uint16_t>(Addr);
        m_Out.Image[Vector * 2 + 1] = static_cast<uint16_t>(Addr >> 16);
    }
}

void CMaker::EmitStart() {
    const uint32_t Stack = m_Target.RamBase + STACK, Start = Here() | 1;
    m_Out.Image[0] = static_cast<uint16_t>(Stack);
    m_Out.Image[1] = static_cast<uint16_t>(Stack >> 16);
    m_Out.Image[2] = static_cast<uint16_t>(Start);
    m_Out.Image[3] = static_cast<uint16_t>(Start >> 16);
    if (m_Target.HasFpu) {
        LoadConst(0, 0xE000ED88);
        LoadConst(1, 0x00F00000);
        Emit({0x6001, 0xF3BF, 0x8F4F, 0xF3BF, 0x8F6F}); // str r1,[r0]; dsb; isb
    }
    for (uint32_t Reg = 12; Reg-- > 0;) {
        LoadConst(Reg, AnyInt());
    }
}

void CMaker::AnyEncoding(uint16_t& First, uint16_t& Second) {
    Second = static_cast<uint16_t>(m_Random());
    const uint32_t Kind = Rand(8);
    if (Kind == 0 || IsSmall()) {
        First = static_cast<uint16_t>(m_Random());
    } else if (m_Target.HasFpu && Kind < 4) { // most often data processing, single precision
        static constexpr uint16_t Spaces[] = {0xEE00, 0xEE00, 0xEE00, 0xEE00, 0xFE00, 0xEC00, 0xED00, 0xFC00};
        First = static_cast<uint16_t>(Spaces[Rand(8)] | (m_Random() & 0xFF));
        Second = static_cast<uint16_t>((Second & 0xF0FF) | (OneIn(6) ? 0x0B00 : 0x0A00));
    } else {
        First = static_cast<uint16_t>(0xE800 | Rand(0x1800));
    }
}

bool CMaker::IsMemory(const CInst& I) const {
    return I.Code == OP_LOAD_GENERIC || (I.Code >= OP_LDRD && I.Code <= OP_STLEX) ||
           (I.Code >= OP_LOAD && I.Code < OP_ALU) || (I.Code >= VfpOp(VFP_VLDR) && I.Code <= VfpOp(VFP_VSTM));
}

// What leaves the straight line, stops the processor or changes its mode has cases of its own.
bool CMaker::IsTestable(const CInst& I, uint16_t First, uint16_t Second) const {
    if (FindOracleException(m_Target, First, Second)) {
        return false;
    }
    if (I.Code >= OP_B_COND && I.Code < OP_LOAD) {
        return false;
    }
    switch (I.Code) {
    case OP_MOV_TO_PC:
    case OP_ADD_TO_PC:
    case OP_TBB:
    case OP_TBH:
    case OP_B:
    case OP_BL:
    case OP_BX:
    case OP_BLX_REG:
    case OP_CBZ:
    case OP_CBNZ:
    case OP_IT:
    case OP_BKPT:
    case OP_WFI:
    case OP_WFE:
        return false;
    case OP_LDM:
    case OP_POP:
        return !(I.Imm & 0x8000);
    case OP_LOAD_GENERIC:
        return I.Rd != 15;
    case OP_CPS:
        return !(I.Imm & 1);
    case OP_MSR:
        return I.Imm < 4 || I.Imm == 9 || (I.Imm >= 16 && I.Imm <= 18);
    default:
        break;
    }
    const bool WithIndex = (I.Code >= OP_LOAD && I.Code < OP_STORE && (I.Code - OP_LOAD) % 5 == ADDR_REG) ||
                           (I.Code >= OP_STORE && I.Code < OP_ALU && (I.Code - OP_STORE) % 4 == ADDR_REG) ||
                           (I.Code == OP_LOAD_GENERIC && I.Ra == ADDR_REG);
    return !WithIndex || I.Rm != I.Rn;
}

uint32_t CMaker::AnyBase() {
    const uint32_t Kind = Rand(16);
    const uint32_t Ram = m_Target.RamBase + 0x1400 + Rand(0x1000);
    return Kind == 0 ? 0xA0002000 + Rand(0x1000) : Kind < 4 ? Ram : Ram & ~3u;
}

void CMaker::LoadOperands(const CInst& I) {
    const bool Memory = IsMemory(I);
    for (const uint32_t Reg : {uint32_t(I.Ra), uint32_t(I.Rd), uint32_t(I.Rm)}) {
        if (Reg != 13 && Reg < 15 && (Memory || OneIn(3))) {
            LoadConst(Reg, Memory && Reg == I.Rm ? Rand(0x100) : AnyInt());
        }
    }
    if (I.Rn != 13 && I.Rn != 15 && (Memory || OneIn(2))) {
        LoadConst(I.Rn, Memory ? AnyBase() : AnyInt());
    }
}

void CMaker::LoadFloats(const CInst& I) {
    if (OneIn(8)) {
        LoadConst(0, OneIn(3) ? static_cast<uint32_t>(m_Random()) & 0xF7C0009F : Rand(32) << 22);
        Emit({0xEEE1, 0x0A10}); // vmsr fpscr, r0
    }
    for (const uint32_t Reg : {I.Rd, I.Rn, I.Rm}) {
        if (Reg < 32 && !OneIn(4)) {
            LoadConst(0, AnyFloat());
            Emit({0xEE00u | Reg >> 1, 0x0A10u | (Reg & 1) << 7}); // vmov sReg, r0
        }
    }
    if (I.Code >= VfpOp(VFP_VLDR) && I.Code <= VfpOp(VFP_VSTM) && I.Rn != 13 && I.Rn != 15) {
        LoadConst(I.Rn, AnyBase());
    }
}

void CMaker::EmitCase() {
    uint16_t First, Second;
    AnyEncoding(First, Second);
    const CInst I = Decode(Here(), First, Second, m_Target.Arch);
    const bool IsVfp = I.Code >= OP_VFP;
    const bool IsUndefined = I.Code == OP_UNDEFINED || I.Code == VfpOp(VFP_UNDEFINED) || I.Code == OP_NO_COPROC;
    // Most random bits mean nothing: some of them are enough.
    if ((IsUndefined && !OneIn(4)) || !IsTestable(I, First, Second)) {
        return;
    }
    if (!IsUndefined) {
        IsVfp ? LoadFloats(I) : LoadOperands(I);
    }
    if (I.Code == OP_SVC) { // taken as a HardFault while masked, with a return address that QEMU has otherwise
        Emit(0xB662);       // cpsie i
        LoadConst(0, 0);
        IsSmall() ? Emit(0xBF00) : Emit({0xF380, 0x8811}); // msr basepri, r0
    }
    const bool WithoutFpu = IsVfp && OneIn(60);
    if (WithoutFpu) {
        LoadConst(0, 0xE000ED88);
        Emit({0x2100, 0x6001, 0xF3BF, 0x8F6F}); // CPACR = 0; isb
    }
    m_Out.CaseAddrs.push_back(Here());
    Emit(First);
    if (I.Len == 4) {
        Emit(Second);
    }
    if (WithoutFpu) {
        LoadConst(0, 0xE000ED88);
        LoadConst(1, 0x00F00000);
        Emit({0x6001, 0xF3BF, 0x8F6F});
    }
    if (I.Rd == 13 || I.Rn == 13 || I.Ra == 13 || I.Code == OP_PUSH || I.Code == OP_POP || I.Code == OP_MSR ||
        I.Code == OP_ALU_TO_SP) {
        LoadConst(0, m_Target.RamBase + STACK);
        Emit(0x4685); // mov sp, r0
    }
    m_Out.NumUndefined += IsUndefined;
    m_Out.NumCases++;
}

void CMaker::EmitBranch() {
    const uint32_t Skip = Rand(6), Cond = Rand(14), Reg = Rand(8);
    const bool Long = !IsSmall();
    LoadConst(Reg, OneIn(2) ? 0 : AnyInt());
    m_Out.CaseAddrs.push_back(Here());
    const uint32_t Kind = Rand(Long ? 6 : 3);
    switch (Kind) {
    case 0:
        Emit(0xD000 | Cond << 8 | ((Skip - 1) & 0xFF)); // target: PC + 4 + 2 * (Skip - 1), that is behind Skip
        break;
    case 1:
        Emit(0xE000 | ((Skip - 1) & 0x7FF));
        break;
    case 2:
        Emit({0xF000, 0xF800 | Skip}); // bl
        break;
    case 3:
        Emit({0xF000 | Cond << 6, 0x8000 | Skip}); // b<cond>.w
        break;
    case 4:
        Emit({0xF000, 0xB800 | Skip}); // b.w
        break;
    default: // cbz, cbnz; one halfword at least lies between
        Emit(0xB100 | Rand(2) << 11 | Skip << 3 | Reg);
        Emit(0x3701);
        break;
    }
    for (uint32_t Index = 0; Index < Skip; Index++) {
        Emit(0x3701); // adds r7, #1
    }
    m_Out.NumCases++;
}

void CMaker::EmitIndirect() {
    const uint32_t Kind = Rand(IsSmall() ? 4 : 7), Reg = 1 + Rand(6);
    const uint32_t Ram = m_Target.RamBase + 0x2000 + Rand(256) * 4;
    const bool ToArm = OneIn(5); // a branch to ARM code; QEMU looks at the alignment of its address first
    while ((Here() & 3) != (ToArm && Kind < 2 ? 0u : 2u)) {
        Emit(0xBF00);
    }
    // The size of what follows is fixed for each kind, so that the target can be told beforehand.
    const size_t ConstSize = IsSmall() ? 0 : 8; // bytes
    const uint32_t Start = Here();
    const auto Tail = [&](uint32_t NumHalves) {
        // ldr constants of the small core begin aligned: one NOP, then 8 bytes each
        const uint32_t Consts = IsSmall() ? 2 + 8 : static_cast<uint32_t>(ConstSize);
        return Start + Consts + NumHalves * 2;
    };
    const auto Bit = [&](uint32_t Target) { return ToArm && !(Target & 2) ? 0u : 1u; };
    switch (Kind) {
    case 0:
        LoadConst(Reg, Tail(2) | Bit(Tail(2)));
        m_Out.CaseAddrs.push_back(Here());
        Emit({0x4700 | Reg << 3, 0x3701, 0x3702}); // bx
        break;
    case 1:
        LoadConst(Reg, Tail(2) | Bit(Tail(2)));
        m_Out.CaseAddrs.push_back(Here());
        Emit({0x4780 | Reg << 3, 0x3701, 0x3702}); // blx
        break;
    case 2:
        LoadConst(Reg, Tail(2) | Rand(2));
        m_Out.CaseAddrs.push_back(Here());
        Emit({0x4687 | Reg << 3, 0x3701, 0x3702}); // mov pc
        break;
    case 3:
        LoadConst(Reg, Tail(3) | Bit(Tail(3)));
        Emit(0xB400 | 1u << Reg); // push {reg}
        m_Out.CaseAddrs.push_back(Here());
        Emit({0xBD00, 0x3701, 0x3702}); // pop {pc}
        break;
    case 4: // tbb [pc, reg]: a table of four bytes
        LoadConst(Reg, Rand(4));
        m_Out.CaseAddrs.push_back(Here());
        Emit({0xE8DF, 0xF000 | Reg, 0x0302, 0x0403, 0x3701, 0x3702, 0x3703});
        break;
    case 5:
        LoadConst(Reg, Rand(2));
        m_Out.CaseAddrs.push_back(Here());
        Emit({0xE8DF, 0xF010 | Reg, 2, 3, 0x3701, 0x3702}); // tbh
        break;
    default: {
        const uint32_t Base = Reg == 1 ? 2 : 1;
        LoadConst(Base, Ram);
        const uint32_t Behind = Here() + 8 + 2 + 4 + 2;
        LoadConst(Reg, Behind | Bit(Behind));
        Emit(0x6000 | Base << 3 | Reg); // str reg, [base]
        m_Out.CaseAddrs.push_back(Here());
        Emit({0xF8D0 | Base, 0xF000, 0x3701, 0x3702}); // ldr pc, [base]
        break;
    }
    }
    m_Out.NumCases++;
}

// A block of one to four instructions that need no operands prepared.
void CMaker::EmitItBlock() {
    const uint32_t Mask = 1 + Rand(15), Cond = Rand(14);
    int Count = (Mask & 1) ? 4 : (Mask & 2) ? 3 : (Mask & 4) ? 2 : 1;
    Emit(0xBF00 | Cond << 4 | Mask);
    while (Count > 0) {
        uint16_t First, Second;
        AnyEncoding(First, Second);
        const CInst I = Decode(Here(), First, Second, m_Target.Arch);
        const auto IsStack = [](uint32_t Reg) { return Reg == 13; };
        const bool Plain = I.CodeInIT != OP_UNDEFINED && I.Code != OP_UNDEFINED && I.Code != OP_NO_COPROC &&
                           I.Code != OP_CPS && I.Code != OP_MSR && I.CodeInIT != VfpOp(VFP_UNDEFINED) &&
                           I.Code != OP_SVC && I.Code != OP_ALU_TO_SP && !IsStack(I.Rd) && !IsStack(I.Rn) &&
                           !IsMemory(I);
        if (!Plain || !IsTestable(I, First, Second)) {
            continue;
        }
        m_Out.CaseAddrs.push_back(Here());
        Emit(First);
        if (I.Len == 4) {
            Emit(Second);
        }
        m_Out.NumCases++;
        Count--;
    }
}

CFuzzProgram CMaker::Make(size_t NumCases) {
    m_Out.Image.resize(0x80); // 64 vectors
    EmitHandlers();
    EmitStart();
    while (m_Out.NumCases < NumCases) {
        const uint32_t Kind = Rand(40);
        if (Kind == 0) {
            EmitBranch();
        } else if (Kind == 1) {
            EmitIndirect();
        } else if (Kind < 4 && !IsSmall() && m_Target.Arch != ARCH_V8B) {
            EmitItBlock();
        } else {
            EmitCase();
        }
    }
    m_Out.EndAddr = Here();
    Emit({0xE7FE, 0xE7FE}); // b .
    return std::move(m_Out);
}

} // namespace

CFuzzProgram MakeFuzzProgram(const CFuzzTarget& Target, uint32_t Seed, size_t NumCases) {
    return CMaker(Target, Seed).Make(NumCases);
}

const char* FindOracleException(const CFuzzTarget& Target, uint16_t First, uint16_t Second) {
    const CInst I = Decode(0x1000, First, Second, Target.Arch);
    const bool IsFault = I.Code == OP_UNDEFINED || I.Code == VfpOp(VFP_UNDEFINED);
    if (IsFault && (I.Flags & FLAG_OPEN)) {
        return "UNPREDICTABLE: a UsageFault here, something else there";
    }
    if ((First & 0xFF00) == 0xFE00 && (Second & 0x0E10) == 0x0A10) {
        return "QEMU executes register transfers in the unconditional space, where they are UNDEFINED";
    }
    if (I.Code != OP_UNDEFINED) {
        return nullptr;
    }
    if ((First & 0xFFE0) == 0xE8C0 && (Second & 0xF0) == 0x70) {
        return "QEMU executes LDREXD and STREXD, which the M profile lacks";
    }
    const CInst Dsp = Decode(0x1000, First, Second, ARCH_V7EM);
    if (Target.Arch == ARCH_V7M && (Dsp.Code == OP_DSP || Dsp.Code == OP_UMAAL || (Dsp.Flags & FLAG_OPEN))) {
        return "QEMU executes most of the DSP extension on a core without it";
    }
    if (Target.Arch == ARCH_V6M && !Is32Bit(First)) {
        return "QEMU executes 16-bit instructions of ARMv7-M on an ARMv6-M core";
    }
    return nullptr;
}
