#include "elf/ElfApi.h"
#include "elf/ElfApiFrame.h"
#include "tests/elf/CrossBuild.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QFile>
#include <QMap>
#include <QStandardPaths>
#include <algorithm>

// Values of variables against gdb: programs run under QEMU and stop at many instructions of optimised code; each scalar
// of each variable in each frame must be what gdb reads, or gone where gdb says so.

namespace {

constexpr U32 LAST_SCRATCH_REG = 3;

struct FRAME {
    U32 PC = 0;
    U32 ResumePC = 0;
    std::vector<U64> Core;
    std::vector<U64> Doubles;
};

/// One stop of the program.
struct MACHINE {
    QMap<U32, QByteArray> Memory;
    std::vector<FRAME> Frames;
};

struct CONTEXT {
    const MACHINE* pMachine;
    size_t Number;
};

MACHINE Machine;
CONTEXT aContext[8];

ELF_FRAME MakeFrame(size_t Number);

/// Calls keep R4 to R11, SP and D8 and up (Procedure Call Standard for the Arm Architecture); the rest of an outer
/// frame isn't known.
int ReadReg(void* p, U32 Reg, U64* pValue) {
    const CONTEXT& Context = *static_cast<CONTEXT*>(p);
    const FRAME& Frame = Context.pMachine->Frames[Context.Number];
    const bool IsOuter = Context.Number != 0;
    constexpr U32 FIRST_SINGLE = 64;
    constexpr U32 FIRST_DOUBLE = 256;
    if (Reg < Frame.Core.size() && (!IsOuter || (Reg > LAST_SCRATCH_REG && Reg != 12 && Reg != 14))) {
        *pValue = Frame.Core[Reg];
    } else if (Reg >= FIRST_SINGLE && Reg < FIRST_SINGLE + 2 * Frame.Doubles.size() &&
               (!IsOuter || Reg >= FIRST_SINGLE + 16)) {
        *pValue = (Frame.Doubles[(Reg - FIRST_SINGLE) / 2] >> (Reg % 2 * 32)) & 0xFFFFFFFF;
    } else if (Reg >= FIRST_DOUBLE && Reg < FIRST_DOUBLE + Frame.Doubles.size() &&
               (!IsOuter || Reg >= FIRST_DOUBLE + 8)) {
        *pValue = Frame.Doubles[Reg - FIRST_DOUBLE];
    } else {
        return -1;
    }
    return 0;
}

int ReadMem(void* p, U32 Addr, U32 NumBytes, U8* pBuf) {
    const QMap<U32, QByteArray>& Memory = static_cast<CONTEXT*>(p)->pMachine->Memory;
    auto It = Memory.upperBound(Addr);
    if (It != Memory.begin()) {
        --It;
        const U64 Off = Addr - It.key();
        if (Off + NumBytes <= static_cast<U64>(It->size())) {
            std::memcpy(pBuf, It->constData() + Off, NumBytes);
            return 0;
        }
    }
    return ElfApi_ReadMem(Addr, NumBytes, pBuf);
}

int GetCaller(void* p, ELF_FRAME* pCaller) {
    const size_t Number = static_cast<CONTEXT*>(p)->Number + 1;
    if (Number >= Machine.Frames.size()) {
        return -1;
    }
    *pCaller = MakeFrame(Number);
    return 0;
}

ELF_FRAME MakeFrame(size_t Number) {
    aContext[Number] = {&Machine, Number};
    ELF_FRAME Frame;
    Frame.pContext = &aContext[Number];
    Frame.PC = Machine.Frames[Number].PC;
    Frame.ResumePC = Machine.Frames[Number].ResumePC;
    Frame.pfReadReg = ReadReg;
    Frame.pfReadMem = ReadMem;
    Frame.pfGetCaller = GetCaller;
    return Frame;
}

void AddFrame(const QStringList& Fact) {
    FRAME Frame;
    Frame.PC = Fact[1].toUInt();
    Frame.ResumePC = Fact[2].toUInt();
    for (const QString& sValue : Fact[3].split(QLatin1Char(' '))) {
        (Frame.Core.size() < 16 ? Frame.Core : Frame.Doubles).push_back(sValue.toULongLong(nullptr, 16));
    }
    Machine.Frames.push_back(Frame);
}

constexpr const char* GONE = "gone";

/// Bits of the value, little-endian; GONE or the reason where they aren't known.
QString BitsOf(const ELF_SYM_VALUE& Value, U32 First, U32 Count, bool IsTailZero) {
    U64 Bits = 0;
    for (U32 i = 0; i < Count; ++i) {
        const qsizetype Byte = static_cast<qsizetype>((First + i) / 8);
        const U32 Mask = 1u << ((First + i) % 8);
        if (Byte >= Value.Known.size() || ((static_cast<U8>(Value.Known[Byte]) & Mask) == 0 && !IsTailZero)) {
            return Value.Status == ELF_EXPR_OPTIMIZED_OUT ? QString(GONE) : ElfApi_StatusText(Value.Status);
        }
        Bits |= (static_cast<U8>(Value.Bytes[Byte]) & Mask) != 0 ? 1ull << i : 0;
    }
    return QString::number(Bits, 16);
}

/// True if the pieces end before the object does.
bool IsShortValue(const ELF_SYM_PLACE& Place, U32 NumBytes) {
    U64 NumBits = 0;
    for (const ELF_SYM_PIECE& Piece : Place.Pieces) {
        NumBits += Piece.BitSize != 0 ? Piece.BitSize : 8ull * NumBytes;
    }
    return NumBits < 8ull * NumBytes;
}

/// True if a piece is a constant wider than an address.
bool IsWide(const ELF_SYM_PLACE& Place) {
    return std::any_of(Place.Pieces.cbegin(), Place.Pieces.cend(), [](const ELF_SYM_PIECE& Piece) {
        return Piece.Kind == ELF_EXPR_PIECE_VALUE && Piece.BitSize > 32;
    });
}

/// Our variables of the name and line around the PC: the one that gdb means is among them.
ELF_SYM_LIST CandidatesOf(const QStringList& Fact, U32 PC) {
    ELF_SYM_LIST Found;
    for (const ELF_SYM_HANDLE hFunc : ElfApi_GetFuncsAtAddr(PC)) {
        for (const ELF_SYM_HANDLE h : ElfApi_LocalVars(hFunc)) {
            if (ElfApi_GetSymName(h) == Fact[2] && qMax<I64>(ElfApi_GetSymDeclLine(h), 0) == Fact[3].toLongLong()) {
                Found.append(h);
            }
        }
    }
    return Found;
}

/// Empty if one of our variables has the bits that gdb gives. Both may differ where
/// - a call may have changed a register: in an outer frame it isn't known, while gdb shows what it holds now;
/// - pieces end before the object: gdb reads the rest as 0, as it reads constants wider than an address in pieces;
/// - an expansion has no entry for a parameter that it doesn't use, or a block isn't entered: gdb says optimized out;
/// - a pointer isn't there, only what it points to: gdb reads 0;
/// - an array's size is a variable: its symbol has one element.
QString Check(const QStringList& Fact) {
    const U32 Number = Fact[1].toUInt();
    const U32 First = Fact[4].toUInt();
    const U32 Count = Fact[5].toUInt();
    const ELF_FRAME Frame = MakeFrame(Number);
    const ELF_SYM_LIST Candidates = CandidatesOf(Fact, Frame.PC);
    QStringList Ours;
    for (const ELF_SYM_HANDLE h : Candidates) {
        const ELF_SYM_VALUE Value = ElfApi_ReadSym(h, Frame);
        const ELF_SYM_PLACE Place = ElfApi_GetSymPlace(h, Frame);
        const bool IsShort = IsShortValue(Place, ElfApi_GetSymSize(h));
        const QString sBits = BitsOf(Value, First, Count, false);
        const bool IsLost = (Number != 0 || Fact[6] == GONE) && Value.Status == ELF_EXPR_UNAVAILABLE;
        const bool IsBehind =
            First >= 8 * ElfApi_GetSymSize(h) && ElfApi_GetSymDataTypeName(h).contains(QLatin1Char('['));
        const bool IsPointer = Place.Pieces.size() == 1 && Place.Pieces[0].Kind == ELF_EXPR_PIECE_IMPLICIT_PTR;
        if (sBits == Fact[6] || (IsPointer && Fact[6] == "0") || IsLost || IsBehind ||
            (IsShort && BitsOf(Value, First, Count, true) == Fact[6]) || (IsWide(Place) && Fact[6] == "0")) {
            return {};
        }
        Ours.append(sBits);
    }
    const bool HasEntry = !Candidates.isEmpty() && Fact[3] != "0"; // those without a line may be of another expansion
    return !HasEntry && Fact[6] == GONE ? QString() : "ours: " + Ours.join(QStringLiteral(", "));
}

struct TALLY {
    int NumStops = 0;
    int NumValues = 0;
    int NumGone = 0;
};

void CompareValues(const QString& sFacts, const QString& sWhere, TALLY* pTally) {
    for (const QString& sFact : sFacts.split(QLatin1Char('\n'))) {
        const QStringList Fact = sFact.split(QLatin1Char('|'));
        if (Fact[0] == "P") {
            Machine = {};
            ++pTally->NumStops;
        } else if (Fact[0] == "M") {
            Machine.Memory[Fact[1].toUInt()] = QByteArray::fromHex(Fact[2].toLatin1());
        } else if (Fact[0] == "F") {
            AddFrame(Fact);
        } else if (Fact[0] == "V") {
            ++(Fact[6] == GONE ? pTally->NumGone : pTally->NumValues);
            const QString sError = Check(Fact);
            EXPECT_TRUE(sError.isEmpty())
                << qPrintable(sWhere + ": at ") << std::hex << Machine.Frames[Fact[1].toUInt()].PC
                << qPrintable(": " + sFact + " but " + sError);
        }
    }
}

QString Tool(const char* sName) { return QStandardPaths::findExecutable(QLatin1String(sName)); }

struct PROGRAM {
    QString sElf;
    QString sStart;     ///< function that it starts at
    QString sFunctions; ///< where it stops; the last one ends the run
    U32 StackTop;
    U32 DataSize; ///< from 0x20000000
    U32 NumSteps; ///< of three instructions behind each stop
};

/// The facts that gdb prints of a program that runs under QEMU.
QString AskGdb(const PROGRAM& Program) {
    const QString sQemu =
        QStringLiteral("exec %1 -M mps2-an386 -kernel %2 -S -gdb stdio -display none -serial none -monitor none")
            .arg(Tool("qemu-system-arm"), Program.sElf);
    const QString sSetup =
        QStringLiteral("python QEMU='%1'; START='%2'; STACK=%3; DATA=0x20000000; DATA_SIZE=%4; STEPS=%5; "
                       "MAX_VISITS=1; LAST='%6'; FUNCTIONS='%7'")
            .arg(sQemu, Program.sStart)
            .arg(Program.StackTop)
            .arg(Program.DataSize)
            .arg(Program.NumSteps)
            .arg(Program.sFunctions.section(QLatin1Char(' '), -1), Program.sFunctions);
    return RunTool(Tool("gdb-multiarch"),
                   {"-nx", "-batch", "-ex", sSetup, "-x", BRASK_SOURCE_DIR "/tests/elf/dwarf/values.py", Program.sElf});
}

class DwarfValues : public CElfTest {
protected:
    void SetUp() override {
        CElfTest::SetUp();
        if (Tool("gdb-multiarch").isEmpty() || Tool("qemu-system-arm").isEmpty()) {
            GTEST_SKIP() << "gdb-multiarch or qemu-system-arm is not installed";
        }
    }
    static void Compare(const PROGRAM& Program, const QString& sWhere, TALLY* pTally) {
        ASSERT_EQ(ElfApi_Init(Program.sElf), 0);
        const QString sFacts = AskGdb(Program);
        EXPECT_FALSE(sFacts.isEmpty()) << qPrintable(sWhere);
        CompareValues(sFacts, sWhere, pTally);
        ElfApi_Deinit();
    }
};

} // namespace

TEST_F(DwarfValues, OptimizedCodeAgreesWithGdb) {
    const QStringList Common = {"-mcpu=cortex-m4",     "-mthumb",           "-ffreestanding",
                                "-nostdlib",           "-Wl,-Ttext=0x8000", "-Wl,-Tdata=0x20000000",
                                "-Wl,-Tbss=0x20000040"};
    const QStringList HardFloat = {"-mfloat-abi=hard", "-mfpu=fpv4-sp-d16"};
    const QStringList Cpp = {"-std=c++17", "-fno-exceptions", "-fno-rtti"};
    struct BUILD {
        const char* sCompiler;
        QStringList Flags;
    };
    const BUILD aBuild[] = {{"gcc", {"-O0", "-gdwarf-4"}},
                            {"gcc", {"-Og", "-gdwarf-5"}},
                            {"gcc", {"-O2", "-gdwarf-2"}},
                            {"gcc", {"-O2", "-gdwarf-4"}},
                            {"gcc", QStringList{"-O2", "-gdwarf-5"} + HardFloat},
                            {"gcc", {"-Os", "-gdwarf-5"}},
                            {"clang", {"-O1", "-gdwarf-4"}},
                            {"clang", {"-O2", "-gdwarf-5"}},
                            {"clang", QStringList{"-Os", "-gdwarf-5"} + HardFloat},
                            {"g++", QStringList{"-O0", "-gdwarf-5"} + Cpp},
                            {"g++", QStringList{"-Og", "-gdwarf-4"} + Cpp},
                            {"g++", QStringList{"-O2", "-gdwarf-5"} + Cpp},
                            {"clang++", QStringList{"-O2", "-gdwarf-5"} + Cpp}};
    TALLY Tally;
    int NumBuilds = 0;
    for (const BUILD& Build : aBuild) {
        const QString sElf = m_Dir.filePath("values.elf");
        const bool IsCpp = QLatin1String(Build.sCompiler).endsWith(QLatin1String("++"));
        const QString sSource = QStringLiteral(BRASK_SOURCE_DIR "/tests/elf/dwarf/values.") + (IsCpp ? "cpp" : "c");
        if (!BuildCross(Build.sCompiler, Common + Build.Flags + QStringList{sSource}, sElf)) {
            continue;
        }
        ++NumBuilds;
        Compare({sElf, "_start",
                 IsCpp ? "ByReference Iterate Bind Chain Virtual _ZNK5shape6Square4AreaEv Done"
                       : "Split Widen Lost Loop Pointed Floats Bits Many Sized Tail Recurse Blocks Done",
                 0x20004000, 128, 5},
                Build.sCompiler + QStringLiteral(" ") + Build.Flags.join(QLatin1Char(' ')), &Tally);
    }
    if (NumBuilds == 0) {
        GTEST_SKIP() << "no cross compiler is installed";
    }
    EXPECT_GT(Tally.NumValues, 1000);
    EXPECT_GT(Tally.NumGone, 100);
}

TEST_F(DwarfValues, FirmwareWithALibraryAgreesWithGdb) {
    const QString sElf = QStringLiteral(BRASK_BINARY_DIR "/firmware/compute-m4f.elf");
    if (!QFile::exists(sElf)) {
        GTEST_SKIP() << "the firmware isn't built";
    }
    TALLY Tally;
    Compare({sElf, "Reset",
             "main sin cos exp log sqrt atan2 sinf snprintf qsort strtod _strtod_l _dtoa_r _svfprintf_r __multiply "
             "__lshift _malloc_r memmove powf",
             0x20010000, 3000, 4},
            "compute-m4f", &Tally);
    EXPECT_GT(Tally.NumValues, 1000);
}
