#include "elf/ElfApi.h"
#include "tests/elf/CrossBuild.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QDir>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>

// The symbol store against gdb: every function's range, every global's address and size, every struct's layout, for C
// and C++ at four levels of optimization and in four versions of DWARF.

namespace {

struct BUILD {
    const char* sCompiler;
    const char* sFlags;
};

const QString sSourceDir = QStringLiteral(BRASK_SOURCE_DIR "/tests/elf/dwarf/");

QString _Tool(const char* sName) { return QStandardPaths::findExecutable(QLatin1String(sName)); }

/// Name for comparison. gdb writes template arguments in its own spelling, and demangles the one name that the
/// compiler gives in mangled form.
QString _Squeeze(QString sName) {
    sName.replace(QLatin1String("short int"), QLatin1String("short"));
    if (const qsizetype Args = sName.indexOf(QLatin1Char('<')); Args >= 0) { // compilers put qualifiers where they like
        sName = sName.left(Args) + sName.mid(Args).remove(QLatin1String("const")).remove(QLatin1String("volatile"));
    }
    sName.replace(QLatin1String("ulong long"), QLatin1String("long ulong"));     // clang's "unsigned long long"
    if (sName.contains(QLatin1String("__static_initialization_and_destruction_0"))) {
        return QStringLiteral("__static_initialization_and_destruction_0");
    }
    if (sName.contains(QLatin1String("{lambda")) || sName.startsWith(QLatin1String("$_"))) { // gdb's names of closures
        return QStringLiteral("operator()");
    }
    return sName.remove(QLatin1Char(' '));
}

QStringList _AskGdb(const QString& sElf) {
    return RunTool(_Tool("gdb-multiarch"), {"-nx", "-batch", "-ex", "python NM='" + _Tool("nm") + "'", "-x",
                                         sSourceDir + "dump.py", sElf})
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

/// Members of a type, those of its unnamed members not included.
ELF_SYM_HANDLE _FindType(const QString& sName, U32 Size) {
    for (const ELF_SYM_HANDLE h : ElfApi_Types()) {
        if (_Squeeze(ElfApi_GetSymName(h, true)) == _Squeeze(sName) && ElfApi_GetSymSize(h) == Size) {
            return h;
        }
    }
    return 0;
}

/// Type text for comparison: gdb doesn't tell classes from structures.
QString _TypeText(ELF_SYM_HANDLE h) {
    QString sText = ElfApi_GetSymDataTypeName(h);
    sText.replace(QRegularExpression(QStringLiteral("\\bclass\\b")), QStringLiteral("struct"));
    return sText.contains(QLatin1String("::*")) ? QStringLiteral("memberptr") : _Squeeze(sText);
}

QString _DescribeMember(ELF_SYM_HANDLE h) {
    const U32 Width = ElfApi_GetSymBitWidth(h);
    I64 Bit = ElfApi_GetMemberOffset(h) * 8 + ElfApi_GetSymBitOffset(h);
    if (Width != 0 && ElfApi_IsBigEndian()) { // gdb counts from the most significant bit there
        Bit = ElfApi_GetMemberOffset(h) * 8 + ElfApi_GetSymSize(h) * 8 - ElfApi_GetSymBitOffset(h) - Width;
    }
    return QStringLiteral("%1|%2|%3|%4|%5")
        .arg(ElfApi_GetSymName(h))
        .arg(Bit)
        .arg(Width)
        .arg(ElfApi_GetSymSize(ElfApi_GetSymDataType(h)))
        .arg(_TypeText(h));
}

/// Empty if one of the functions at its start is the one that gdb knows. Ours begin at even addresses; gdb's begin at
/// odd ones where an assembler gave the address of Thumb code.
QString _CheckFunc(const QString& sName, U32 Lo, U32 Hi) {
    QString sFound;
    for (const ELF_SYM_HANDLE h : ElfApi_GetFuncsAtAddr(Lo)) {
        const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(h);
        if (_Squeeze(ElfApi_GetSymName(h, true)) == _Squeeze(sName) && Range.Addr == (Lo & ~1u) &&
            Range.Addr + Range.Size == (Hi & ~1u)) {
            return {};
        }
        sFound += QStringLiteral(" %1 at %2, %3 bytes").arg(ElfApi_GetSymName(h, true)).arg(Range.Addr).arg(Range.Size);
    }
    return Lo == 0 ? QString() : QStringLiteral("found") + sFound; // at 0 stands what the linker dropped
}

/// Empty if one of the variables of that name (static ones may share it) is at the place.
QString _CheckGlobal(const QString& sName, I64 Addr, U32 Size, const QString& sType) {
    QString sFound;
    for (const ELF_SYM_HANDLE h : ElfApi_FindSyms(sName, true, false, false, false)) {
        if (ElfApi_GetSymAddr(h) == Addr && ElfApi_GetSymSize(h) == Size && _TypeText(h) == _Squeeze(sType)) {
            return {};
        }
        if (Addr == 0 && ElfApi_GetSymAddr(h) == -1) {
            return {}; // at 0 stands what the linker dropped
        }
        sFound += QStringLiteral(" %1, %2 bytes, %3").arg(ElfApi_GetSymAddr(h)).arg(ElfApi_GetSymSize(h)).arg(_TypeText(h));
    }
    return QStringLiteral("found") + sFound;
}

QString _CheckBase(const QString& sType, const QString& sBase, I64 Off) {
    QString sFound;
    for (const ELF_SYM_HANDLE hType : ElfApi_Types()) {
        for (const ELF_SYM_HANDLE h : _Squeeze(ElfApi_GetSymName(hType, true)) == _Squeeze(sType) ? ElfApi_GetBases(hType) : ELF_SYM_LIST()) {
            const QString sName = _Squeeze(ElfApi_GetSymName(ElfApi_GetSymDataType(h)));
            if (sName == _Squeeze(sBase) && ElfApi_GetMemberOffset(h) == Off) {
                return {};
            }
            sFound += QStringLiteral(" %1 at %2").arg(sName).arg(ElfApi_GetMemberOffset(h));
        }
    }
    return QStringLiteral("found") + sFound;
}

/// What is wrong with one fact of gdb's; empty if nothing is.
QString _Check(const QStringList& Fact) {
    const QString& sName = Fact[1];
    if (Fact[0] == "F") {
        return _CheckFunc(sName, Fact[2].toUInt(), Fact[3].toUInt());
    }
    if (Fact[0] == "G") {
        return _CheckGlobal(sName, Fact[2].toLongLong(), Fact[3].toUInt(), Fact[4]);
    }
    if (Fact[0] == "S") {
        return _FindType(sName, Fact[2].toUInt()) != 0 ? QString() : QStringLiteral("no such type");
    }
    if (Fact[0] == "B") {
        return _CheckBase(sName, Fact[2], Fact[3].toLongLong() / 8);
    }
    return {};
}

void _CheckMembers(const QString& sType, U32 Size, const QSet<QString>& Members, const QString& sWhere) {
    const ELF_SYM_HANDLE hType = _FindType(sType, Size);
    QSet<QString> Found;
    for (const ELF_SYM_HANDLE h : ElfApi_GetMembers(hType)) {
        if (!ElfApi_IsFunc(h) && !ElfApi_GetSymName(h).isEmpty() && ElfApi_GetMemberOffset(h) >= 0) {
            Found.insert(_DescribeMember(h));
        }
    }
    for (const QString& sMember : Members) {
        // What the compiler made up isn't shown: the pointer to the virtual functions, the inside of va_list.
        EXPECT_TRUE(Found.contains(sMember) || sMember.startsWith(QLatin1String("_vptr")) ||
                    sMember.startsWith(QLatin1String("__ap|")))
            << qPrintable(sWhere + ": " + sType + "." + sMember) << " but "
            << qPrintable(Found.values().join(QStringLiteral(" ")));
    }
}

/// Compares all facts; returns how many there were.
int _CompareWithGdb(const QString& sElf, const QString& sWhere) {
    EXPECT_EQ(ElfApi_Init(sElf), 0) << qPrintable(sWhere);
    QStringList Facts = _AskGdb(sElf);
    EXPECT_EQ(Facts.isEmpty() ? QString() : Facts.takeLast(), "END") << qPrintable(sWhere);
    QMap<QString, QSet<QString>> Members;
    QMap<QString, U32> Sizes;
    for (const QString& sFact : Facts) {
        const QStringList Fact = sFact.split(QLatin1Char('|'));
        const QString sError = _Check(Fact);
        EXPECT_TRUE(sError.isEmpty()) << qPrintable(sWhere + ": " + sFact + " but " + sError);
        if (Fact[0] == "S") {
            Sizes[Fact[1]] = Fact[2].toUInt();
        } else if (Fact[0] == "M") {
            Members[Fact[1]].insert((Fact.mid(2, 4) + QStringList{_Squeeze(Fact[6])}).join(QLatin1Char('|')));
        }
    }
    for (auto It = Members.cbegin(); It != Members.cend(); ++It) {
        _CheckMembers(It.key(), Sizes[It.key()], It.value(), sWhere);
    }
    ElfApi_Deinit();
    return static_cast<int>(Facts.size());
}

} // namespace

class DwarfGdb : public CElfTest {
protected:
    void SetUp() override {
        CElfTest::SetUp();
        if (_Tool("gdb-multiarch").isEmpty() || _Tool("nm").isEmpty()) {
            GTEST_SKIP() << "gdb-multiarch or nm is not installed";
        }
    }
};

TEST_F(DwarfGdb, EveryCompilerVersionAndOptimizationAgrees) {
    const QStringList Common = {"-mthumb", "-ffreestanding", "-nostdlib", "-w", "-Wl,-e,main", "-Wl,-Ttext=0x8000",
                                "-Wl,-Tdata=0x20000000"};
    const QStringList Cpp = {"-fno-exceptions", "-fno-rtti", "-fno-threadsafe-statics", "-fno-use-cxa-atexit"};
    const BUILD aBuild[] = {
        {"gcc", "-mcpu=cortex-m4 -gdwarf-2"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-3"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-4"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-5"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-4 -fdebug-types-section"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-5 -fdebug-types-section"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-5 -flto"},
        {"gcc", "-march=armv6-m -gdwarf-4 -mbig-endian -Wl,--be8"},
        {"gcc", "-march=armv5te -gdwarf-5 -mbig-endian"},
        {"clang", "-mcpu=cortex-m4 -gdwarf-4 -ffunction-sections -fdata-sections -Wl,--gc-sections"},
        {"clang", "-mcpu=cortex-m4 -gdwarf-5 -ffunction-sections -fdata-sections -Wl,--gc-sections"},
    };
    const QString sElf = m_Dir.filePath("program.elf");
    int NumBuilds = 0;
    for (const BUILD& Build : aBuild) {
        const bool IsAll = QLatin1String(Build.sFlags) == QLatin1String("-mcpu=cortex-m4 -gdwarf-5");
        for (const char* sLevel : IsAll ? QList<const char*>{"-O0", "-Og", "-O2", "-Os"} : QList<const char*>{"-O0", "-O2"}) {
            const QStringList Flags = Common + QString(Build.sFlags).split(QLatin1Char(' ')) + QStringList{sLevel};
            const bool IsGcc = QLatin1String(Build.sCompiler) == QLatin1String("gcc");
            const QString sWhere = QStringLiteral("%1 %2 %3").arg(Build.sCompiler, Build.sFlags, sLevel);
            if (BuildCross(Build.sCompiler, Flags + QStringList{sSourceDir + "types.c"}, sElf)) {
                EXPECT_GT(_CompareWithGdb(sElf, "types.c " + sWhere), 15);
                ++NumBuilds;
            }
            if (BuildCross(IsGcc ? "g++" : "clang++", Flags + Cpp + QStringList{sSourceDir + "classes.cpp"}, sElf)) {
                EXPECT_GT(_CompareWithGdb(sElf, "classes.cpp " + sWhere), 15);
                ++NumBuilds;
            }
        }
    }
    if (NumBuilds == 0) {
        GTEST_SKIP() << "no compiler for ARM is installed";
    }
}

TEST_F(DwarfGdb, FirmwareAgrees) {
    QStringList Files = {QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/demo.elf")};
    const QDir Firmware(QStringLiteral(BRASK_BINARY_DIR "/firmware"));
    for (const QString& sName : Firmware.entryList({"*.elf"})) {
        Files.append(Firmware.filePath(sName));
    }
    int NumFacts = 0;
    for (const QString& sFile : Files) {
        NumFacts += _CompareWithGdb(sFile, sFile);
    }
    EXPECT_GT(NumFacts, 10);
}

TEST_F(DwarfGdb, UnitsOfSeveralProducersInOneFileAgree) {
    const QStringList Common = {"-mcpu=cortex-m4", "-mthumb", "-ffreestanding", "-nostdlib", "-w"};
    const QString sC = m_Dir.filePath("c.o");
    const QString sCpp = m_Dir.filePath("cpp.o");
    const QString sAsm = m_Dir.filePath("asm.o");
    const QString sElf = m_Dir.filePath("mixed.elf");
    if (!BuildCross("gcc", Common + QStringList{"-c", "-O1", "-gdwarf-2", "-Dmain=Start", sSourceDir + "types.c"}, sC) ||
        !BuildCross("gcc", Common + QStringList{"-c", "-gdwarf-4", sSourceDir + "labels.S"}, sAsm) ||
        !BuildCross("clang++", Common + QStringList{"-c", "-O1", "-gdwarf-5", "-fno-exceptions", "-fno-rtti",
                                                    "-fno-threadsafe-statics", "-fno-use-cxa-atexit", "-fshort-enums", sSourceDir + "classes.cpp"}, sCpp)) {
        GTEST_SKIP() << "gcc or clang for ARM is not installed";
    }
    ASSERT_TRUE(BuildCross("gcc", Common + QStringList{"-Wl,-e,main", "-Wl,-Ttext=0x8000", sC, sCpp, sAsm}, sElf));
    EXPECT_GT(_CompareWithGdb(sElf, "C, C++ and assembler"), 100);
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    for (const char* sLabel : {"AsmEntry", "AsmHelper", "AsmLoop"}) {
        EXPECT_NE(ElfApi_FindSym(sLabel, true, false, false, true), 0u) << sLabel;
    }
    EXPECT_EQ(ElfApi_GetSymDataTypeName(ElfApi_FindSym("AsmEntry", true, false, false, false)), "static void()");
    ElfApi_Deinit();
}

TEST_F(DwarfGdb, RustAgrees) {
    const QString sElf = sSourceDir + "shapes.elf";
    EXPECT_GT(_CompareWithGdb(sElf, sElf), 25);
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    QSet<QString> Names;
    for (const ELF_SYM_LIST& List : {ElfApi_Functions(), ElfApi_GlobalVars(), ElfApi_Types()}) {
        for (const ELF_SYM_HANDLE h : List) {
            Names.insert(ElfApi_GetSymName(h, true));
        }
    }
    for (const char* sName : {"shop::shapes::first<u32>", "shop::shapes::{impl#0}::area", "shop::LAST",
                              "shop::shapes::Kind::Circle", "shop::shapes::Point<u8>"}) {
        EXPECT_TRUE(Names.contains(sName)) << sName;
    }
    ElfApi_Deinit();
}

TEST_F(CElfTest, SplitUnitsLeaveTheirFunctionsToTheSymbolTable) {
    const QString sElf = m_Dir.filePath("split.elf");
    for (const char* sVersion : {"-gdwarf-4", "-gdwarf-5"}) {
        if (!BuildCross("gcc", {"-mcpu=cortex-m4", "-mthumb", "-ffreestanding", "-nostdlib", "-w", "-Wl,-e,main", sVersion,
                                "-gsplit-dwarf", sSourceDir + "types.c"}, sElf)) {
            GTEST_SKIP() << "arm-none-eabi-gcc is not installed";
        }
        ASSERT_EQ(ElfApi_Init(sElf), 0);
        EXPECT_EQ(ElfApi_GetSymName(ElfApi_GetFuncAtAddr(static_cast<U32>(ElfApi_GetSymAddr(ElfApi_FindSym("Recurse", false, false, false, true))))), "Recurse");
        EXPECT_TRUE(ElfApi_GlobalVars().isEmpty());
        ElfApi_Deinit();
    }
}
