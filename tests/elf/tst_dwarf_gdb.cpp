#include "elf/DwarfConst.h"
#include "elf/ElfApi.h"
#include "elf/ElfSym.h"
#include "tests/elf/CrossBuild.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QMultiHash>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>

// The symbol store against gdb: every function's range, every global's address and size, every struct's layout, for C
// and C++ at four levels of optimization and in four versions of DWARF. Programs of others (BRASK_ORACLE_PROGRAMS) that
// aren't C or C++ always differ in these:
// - an array of Ada or Fortran whose first index isn't told begins at 1 for gdb, at 0 here; gdb computes sizes at run
// time;
// - an array of arrays (Go, or by a typedef) has its inner dimension first here; gdb gives a function 1 byte;
// - variables that the compiler made up (D) are no globals here;
// - what stands in another file (split units, supplementary files) isn't read.

namespace {

struct BUILD {
    const char* sCompiler;
    const char* sFlags;
};

const QString sSourceDir = QStringLiteral(BRASK_SOURCE_DIR "/tests/elf/dwarf/");

QString Tool(const char* sName) { return QStandardPaths::findExecutable(QLatin1String(sName)); }

constexpr qsizetype MAX_NAME = 511; ///< longer ones are cut

/// Name for comparison, without template arguments, which gdb makes itself: with its own spelling of numbers and types,
/// and with the defaults. gdb demangles the one name that the compiler gives in mangled form.
QString Squeeze(QString sName) {
    static const QRegularExpression Args(QStringLiteral("<[^<>]*>"));
    static const QRegularExpression Clone(
        QStringLiteral("\\[abi:\\w+\\]|(\\.(constprop|isra|part|lto_priv|cold)(\\.\\d+)?)+$"));
    static const QRegularExpression Closure(QStringLiteral("\\{lambda|\\$_|(^|::)operator\\(\\)$"));
    sName.remove(QLatin1String("'<'")).replace(QLatin1String("->"), QLatin1String("--"));
    const bool IsCut = sName.size() >= MAX_NAME;
    for (qsizetype Size = 0; Size != sName.size();) {
        Size = sName.size();
        sName.remove(Args);
    }
    sName = IsCut ? sName.section(QLatin1Char('<'), 0, 0) : sName;
    sName.remove(Clone).replace(QLatin1String("short int"), QLatin1String("short"));
    if (const qsizetype Conversion = sName.indexOf(QLatin1String("operator "));
        Conversion >= 0) { // to a typedef or not
        sName.truncate(Conversion + 8);
    }
    sName.replace(QLatin1String("ulong long"), QLatin1String("long ulong")); // clang's "unsigned long long"
    if (sName.contains(QLatin1String("__static_initialization_and_destruction_0"))) {
        return QStringLiteral("__static_initialization_and_destruction_0");
    }
    return sName.contains(Closure) ? QStringLiteral("operator()") : sName.remove(QLatin1Char(' '));
}

QStringList AskGdb(const QString& sElf) {
    return RunTool(Tool("gdb-multiarch"),
                   {"-nx", "-batch", "-ex", "python NM='" + Tool("nm") + "'", "-x", sSourceDir + "dump.py", sElf})
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

/// Type text for comparison, without modules and scopes: gdb doesn't tell classes from structures.
QString TypeText(QString sText) {
    static const QRegularExpression Module(QStringLiteral("\\w+(\\.|__(?=\\w)|::(?!\\*))"));
    static const QRegularExpression Class(QStringLiteral("\\bclass\\b|\\bstruct dyn\\b"));
    sText = Squeeze(sText.replace(Class, QStringLiteral("struct")).remove(Module))
                .replace(QLatin1String("struct::"), QLatin1String("struct"));
    return sText.contains(QLatin1String("::*")) ? QStringLiteral("memberptr") : sText;
}

QString DescribeMember(ELF_SYM_HANDLE h) {
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
        .arg(TypeText(ElfApi_GetSymDataTypeName(h)));
}

/// gdb takes the name that the linker knows where the compiler gives one, which for an inherited constructor is that of
/// the base class, and the package or module of languages other than C++.
bool IsNamed(ELF_SYM_HANDLE h, const QString& sName) {
    const QString sOurs = Squeeze(ElfApi_GetSymName(h, true));
    const QString sTheirs = Squeeze(sName);
    const bool IsCut =
        ElfApi_GetSymName(h, true).size() >= MAX_NAME && sTheirs.contains(sOurs.section(QStringLiteral("::"), -1));
    const QString sScope = sOurs.section(QStringLiteral("::"), 0, -2);
    const bool IsConstructor = sScope.section(QStringLiteral("::"), -1) == sOurs.section(QStringLiteral("::"), -1) &&
                               sTheirs.startsWith(sScope + "::");
    const bool IsInModule = sTheirs.endsWith('.' + sOurs) || QString(sTheirs).replace('.', "__") == sOurs;
    if (("::" + sOurs).endsWith("::" + sTheirs) || IsCut || IsConstructor || IsInModule) {
        return true;
    }
    const DWARF_STORE* pStore = ELF_IsElfSymbol(h) ? nullptr : ELF_GetStore();
    DWARF_ATTR Attr;
    return (pStore == nullptr && sName.contains(QLatin1String("thunk to "))) ||
           (pStore != nullptr && CreateDieAttrEx(*pStore, GetDie(h), DW_AT_linkage_name, &Attr) &&
            sName == QLatin1String(Attr.sText));
}

/// Types of the current file by the name for comparison, without the scope in front.
QMultiHash<QString, ELF_SYM_HANDLE> TypesByName;

ELF_SYM_LIST TypesNamed(const QString& sName) {
    const QString sLast = Squeeze(sName).section(QStringLiteral("::"), -1);
    ELF_SYM_LIST Found = TypesByName.values(sLast);
    Found += sLast.contains('.') ? TypesByName.values(sLast.section('.', -1)) : ELF_SYM_LIST();
    Found += TypesByName.values(Squeeze(sName)); // such as a tuple of Rust
    Found.removeIf([&](ELF_SYM_HANDLE h) { return !IsNamed(h, sName); });
    return Found;
}

/// Empty if one of the functions at its start is the one that gdb knows. Ours begin at even addresses; gdb's begin at
/// odd ones where an assembler gave the address of Thumb code.
QString CheckFunc(const QString& sName, U32 Lo, U32 Hi) {
    QString sFound;
    for (const ELF_SYM_HANDLE h : ElfApi_GetFuncsAtAddr(Lo)) {
        const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(h);
        if (IsNamed(h, sName) && Range.Addr == (Lo & ~1u) && Range.Addr + Range.Size == (Hi & ~1u)) {
            return {};
        }
        sFound += QStringLiteral(" %1 at %2, %3 bytes").arg(ElfApi_GetSymName(h, true)).arg(Range.Addr).arg(Range.Size);
    }
    return Lo == 0 ? QString() : QStringLiteral("found") + sFound; // at 0 stands what the linker dropped
}

/// Empty if one of the variables of that name (static ones may share it) is at the place.
QString CheckGlobal(const QString& sName, I64 Addr, U32 Size, const QString& sType) {
    QString sFound;
    for (const ELF_SYM_HANDLE h : ElfApi_FindSyms(sName, true, false, false, false) +
                                      ElfApi_FindSymsAtAddr(static_cast<U32>(Addr), true, false)) {
        if (IsNamed(h, sName) && ElfApi_GetSymAddr(h) == Addr && ElfApi_GetSymSize(h) == Size &&
            TypeText(ElfApi_GetSymDataTypeName(h)) == TypeText(sType)) {
            return {};
        }
        if (Addr == 0 && ElfApi_GetSymAddr(h) == -1) {
            return {}; // at 0 stands what the linker dropped
        }
        sFound += QStringLiteral(" %1, %2 bytes, %3")
                      .arg(ElfApi_GetSymAddr(h))
                      .arg(ElfApi_GetSymSize(h))
                      .arg(TypeText(ElfApi_GetSymDataTypeName(h)));
    }
    return QStringLiteral("found") + sFound;
}

QString CheckBase(const QString& sType, const QString& sBase, I64 Off) {
    QString sFound;
    for (const ELF_SYM_HANDLE hType : TypesNamed(sType)) {
        for (const ELF_SYM_HANDLE h : ElfApi_GetBases(hType)) {
            const QString sName = Squeeze(ElfApi_GetSymName(ElfApi_GetSymDataType(h)));
            if (sName == Squeeze(sBase) && ElfApi_GetMemberOffset(h) == Off) {
                return {};
            }
            sFound += QStringLiteral(" %1 at %2").arg(sName).arg(ElfApi_GetMemberOffset(h));
        }
    }
    return QStringLiteral("found") + sFound;
}

/// Empty if one of our enumerations of the name has the enumerators, of whose values the lower 32 bits are kept.
QString CheckEnum(const QString& sName, U32 Size, const QString& sEnumerators) {
    QStringList Theirs = sEnumerators.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (QString& sTheirs : Theirs) {
        const I64 Value = sTheirs.section(QLatin1Char('='), 1).toLongLong();
        sTheirs = sTheirs.section(QLatin1Char('='), 0, 0).section(QLatin1Char('.'), -1) + '=' +
                  QString::number(static_cast<U32>(Value));
    }
    QString sFound;
    for (const ELF_SYM_HANDLE hType : TypesNamed(sName)) {
        QStringList Ours;
        for (const ELF_SYM_HANDLE h : ElfApi_GetMembers(ElfApi_GetSymDataType(hType, true))) {
            const QByteArray Value = ElfApi_GetSymConstValue(h);
            U32 Bits = 0;
            std::memcpy(&Bits, Value.constData(), std::min<size_t>(sizeof(Bits), static_cast<size_t>(Value.size())));
            if (!ElfApi_IsFunc(h)) {
                Ours.append(ElfApi_GetSymName(h) + '=' + QString::number(Bits));
            }
        }
        if (Ours == Theirs && ElfApi_GetSymSize(hType) == Size) {
            return {};
        }
        sFound += QStringLiteral(" %1 bytes: %2").arg(ElfApi_GetSymSize(hType)).arg(Ours.join(QLatin1Char(' ')));
    }
    return QStringLiteral("found") + sFound;
}

/// What is wrong with one fact of gdb's; empty if nothing is.
QString Check(const QStringList& Fact) {
    const QString& sName = Fact[1];
    if (Fact[0] == "F") {
        return CheckFunc(sName, Fact[2].toUInt(), Fact[3].toUInt());
    }
    if (Fact[0] == "G") {
        return CheckGlobal(sName, Fact[2].toLongLong(), Fact[3].toUInt(), Fact[4]);
    }
    if (Fact[0] == "E") {
        return CheckEnum(sName, Fact[2].toUInt(), Fact[3]);
    }
    if (Fact[0] == "B") {
        return CheckBase(sName, Fact[2], Fact[3].toLongLong() / 8);
    }
    return {};
}

/// A structure of gdb's and its members as DescribeMember() has them.
struct GDB_STRUCT {
    QString sName;
    U32 Size = 0;
    QStringList Members;
};

/// True if ours is what gdb says. A structure that its unit only declares has no size, and a text of more than 498
/// characters isn't shown.
bool IsSameMember(const QString& sOurs, const QString& sTheirs) {
    QStringList Ours = sOurs.split(QLatin1Char('|'));
    const QStringList Theirs = sTheirs.split(QLatin1Char('|'));
    Ours[3] = Ours[3] == QLatin1String("0") ? Theirs[3] : Ours[3];
    Ours[4] = Ours[4].isEmpty() ? Theirs[4] : Ours[4];
    return Ours == Theirs;
}

/// Empty if one of our types of the name, of which different units may have different ones, has all members.
QString CheckStruct(const GDB_STRUCT& Struct) {
    QString sFound = QStringLiteral("no such type");
    for (const ELF_SYM_HANDLE h : TypesNamed(Struct.sName)) {
        QStringList Found;
        for (const ELF_SYM_HANDLE hMember : ElfApi_GetMembers(ElfApi_GetSymDataType(h, true))) {
            if (!ElfApi_IsFunc(hMember) && !ElfApi_GetSymName(hMember).isEmpty() &&
                ElfApi_GetMemberOffset(hMember) >= 0) {
                Found.append(DescribeMember(hMember));
            }
        }
        QString sMissing;
        for (const QString& sMember : Struct.Members) {
            // What the compiler made up isn't shown: the pointer to the virtual functions, the inside of va_list.
            const bool IsMadeUp =
                sMember.startsWith(QLatin1String("_vptr")) || sMember.startsWith(QLatin1String("__ap|"));
            const bool IsFound = std::any_of(Found.cbegin(), Found.cend(),
                                             [&](const QString& sOurs) { return IsSameMember(sOurs, sMember); });
            sMissing += IsFound || IsMadeUp ? QString() : sMember + ' ';
        }
        if (ElfApi_GetSymSize(h) == Struct.Size && sMissing.isEmpty()) {
            return {};
        }
        sFound = QStringLiteral("without %1among %2").arg(sMissing, Found.join(QLatin1Char(' ')));
    }
    return sFound;
}

/// Compares all facts; returns how many there were.
int CompareWithGdb(const QString& sElf, const QString& sWhere) {
    EXPECT_EQ(ElfApi_Init(sElf), 0) << qPrintable(sWhere);
    TypesByName.clear();
    for (const ELF_SYM_HANDLE h : ElfApi_Types()) {
        TypesByName.insert(Squeeze(ElfApi_GetSymName(h)), h);
    }
    QStringList Facts = AskGdb(sElf);
    EXPECT_EQ(Facts.isEmpty() ? "" : Facts.takeLast().toStdString(), "END") << qPrintable(sWhere);
    QList<GDB_STRUCT> Structs;
    for (const QString& sFact : Facts) {
        const QStringList Fact = sFact.split(QLatin1Char('|'));
        const QString sError = Check(Fact);
        EXPECT_TRUE(sError.isEmpty()) << qPrintable(sWhere + ": " + sFact + " but " + sError);
        if (Fact[0] == "S") {
            Structs.append({Fact[1], Fact[2].toUInt(), {}});
        } else if (Fact[0] == "M") {
            Structs.last().Members.append((Fact.mid(2, 4) + QStringList{TypeText(Fact[6])}).join(QLatin1Char('|')));
        }
    }
    for (const GDB_STRUCT& Struct : Structs) {
        const QString sError = CheckStruct(Struct);
        EXPECT_TRUE(sError.isEmpty()) << qPrintable(sWhere + ": " + Struct.sName + ", " + QString::number(Struct.Size) +
                                                    " bytes: " + sError);
    }
    ElfApi_Deinit();
    return static_cast<int>(Facts.size());
}

} // namespace

class DwarfGdb : public CElfTest {
protected:
    void SetUp() override {
        CElfTest::SetUp();
        if (Tool("gdb-multiarch").isEmpty() || Tool("nm").isEmpty()) {
            GTEST_SKIP() << "gdb-multiarch or nm is not installed";
        }
    }
};

TEST_F(DwarfGdb, EveryCompilerVersionAndOptimizationAgrees) {
    const QStringList Common = {"-mthumb",           "-ffreestanding",       "-nostdlib", "-w", "-Wl,-e,main",
                                "-Wl,-Ttext=0x8000", "-Wl,-Tdata=0x20000000"};
    const QStringList Cpp = {"-fno-exceptions", "-fno-rtti", "-fno-threadsafe-statics", "-fno-use-cxa-atexit"};
    const BUILD aBuild[] = {
        {"gcc", "-mcpu=cortex-m4 -gdwarf-2"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-3"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-4"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-5"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-4 -fdebug-types-section"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-5 -fdebug-types-section"},
        {"gcc", "-mcpu=cortex-m4 -gdwarf-5 -flto"},
        {"gcc", "-march=armv6-m -gdwarf-2 -mbig-endian -Wl,--be8"},
        {"gcc", "-march=armv6-m -gdwarf-4 -mbig-endian -Wl,--be8"},
        {"gcc", "-march=armv5te -gdwarf-5 -mbig-endian"},
        {"clang", "-mcpu=cortex-m4 -gdwarf-4 -ffunction-sections -fdata-sections -Wl,--gc-sections"},
        {"clang", "-mcpu=cortex-m4 -gdwarf-5 -ffunction-sections -fdata-sections -Wl,--gc-sections"},
    };
    const QString sElf = m_Dir.filePath("program.elf");
    int NumBuilds = 0;
    for (const BUILD& Build : aBuild) {
        const bool IsAll = QLatin1String(Build.sFlags) == QLatin1String("-mcpu=cortex-m4 -gdwarf-5");
        for (const char* sLevel :
             IsAll ? QList<const char*>{"-O0", "-Og", "-O2", "-Os"} : QList<const char*>{"-O0", "-O2"}) {
            const QStringList Flags = Common + QString(Build.sFlags).split(QLatin1Char(' ')) + QStringList{sLevel};
            const bool IsGcc = QLatin1String(Build.sCompiler) == QLatin1String("gcc");
            const QString sWhere = QStringLiteral("%1 %2 %3").arg(Build.sCompiler, Build.sFlags, sLevel);
            if (BuildCross(Build.sCompiler, Flags + QStringList{sSourceDir + "types.c"}, sElf)) {
                EXPECT_GT(CompareWithGdb(sElf, "types.c " + sWhere), 15);
                ++NumBuilds;
            }
            if (BuildCross(IsGcc ? "g++" : "clang++", Flags + Cpp + QStringList{sSourceDir + "classes.cpp"}, sElf)) {
                EXPECT_GT(CompareWithGdb(sElf, "classes.cpp " + sWhere), 15);
                ++NumBuilds;
            }
        }
    }
    if (NumBuilds == 0) {
        GTEST_SKIP() << "no compiler for ARM is installed";
    }
}

TEST_F(DwarfGdb, FirmwareAgrees) {
    QList<CROSS_PROGRAM> Programs = ForeignPrograms();
    const bool IsForeign = HasForeignPrograms(); // of any size
    if (!IsForeign) {
        Programs = FirmwarePrograms();
        Programs.append({"demo", QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/demo.elf")});
    }
    for (const CROSS_PROGRAM& Program : Programs) {
        const int NumFacts = CompareWithGdb(Program.sPath, Program.sName);
        EXPECT_TRUE(IsForeign || NumFacts > 10 || Program.sName.endsWith("secure.elf")) // without C
            << qPrintable(Program.sName);
        NoteCompared(Program, "functions, globals, structures, members, base classes", NumFacts);
    }
}

TEST_F(DwarfGdb, UnitsOfSeveralProducersInOneFileAgree) {
    const QStringList Common = {"-mcpu=cortex-m4", "-mthumb", "-ffreestanding", "-nostdlib", "-w"};
    const QString sC = m_Dir.filePath("c.o");
    const QString sCpp = m_Dir.filePath("cpp.o");
    const QString sAsm = m_Dir.filePath("asm.o");
    const QString sElf = m_Dir.filePath("mixed.elf");
    if (!BuildCross("gcc", Common + QStringList{"-c", "-O1", "-gdwarf-2", "-Dmain=Start", sSourceDir + "types.c"},
                    sC) ||
        !BuildCross("gcc", Common + QStringList{"-c", "-gdwarf-4", sSourceDir + "labels.S"}, sAsm) ||
        !BuildCross("clang++",
                    Common + QStringList{"-c", "-O1", "-gdwarf-5", "-fno-exceptions", "-fno-rtti",
                                         "-fno-threadsafe-statics", "-fno-use-cxa-atexit", "-fshort-enums",
                                         sSourceDir + "classes.cpp"},
                    sCpp)) {
        GTEST_SKIP() << "gcc or clang for ARM is not installed";
    }
    ASSERT_TRUE(BuildCross("gcc", Common + QStringList{"-Wl,-e,main", "-Wl,-Ttext=0x8000", sC, sCpp, sAsm}, sElf));
    EXPECT_GT(CompareWithGdb(sElf, "C, C++ and assembler"), 100);
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    for (const char* sLabel : {"AsmEntry", "AsmHelper", "AsmLoop"}) {
        EXPECT_NE(ElfApi_FindSym(sLabel, true, false, false, true), 0u) << sLabel;
    }
    EXPECT_EQ(ElfApi_GetSymDataTypeName(ElfApi_FindSym("AsmEntry", true, false, false, false)), "static void()");
    ElfApi_Deinit();
}

TEST_F(DwarfGdb, RustAgrees) {
    const QString sElf = sSourceDir + "shapes.elf";
    EXPECT_GT(CompareWithGdb(sElf, sElf), 25);
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
        if (!BuildCross("gcc",
                        {"-mcpu=cortex-m4", "-mthumb", "-ffreestanding", "-nostdlib", "-w", "-Wl,-e,main", sVersion,
                         "-gsplit-dwarf", sSourceDir + "types.c"},
                        sElf)) {
            GTEST_SKIP() << "arm-none-eabi-gcc is not installed";
        }
        ASSERT_EQ(ElfApi_Init(sElf), 0);
        EXPECT_EQ(ElfApi_GetSymName(ElfApi_GetFuncAtAddr(
                      static_cast<U32>(ElfApi_GetSymAddr(ElfApi_FindSym("Recurse", false, false, false, true))))),
                  "Recurse");
        EXPECT_TRUE(ElfApi_GlobalVars().isEmpty());
        ElfApi_Deinit();
    }
}

TEST_F(DwarfGdb, DeclaredTypesAreThoseThatAnotherUnitDescribes) {
    const auto Write = [this](const char* sName, const QByteArray& Text) {
        QFile File(m_Dir.filePath(sName));
        EXPECT_TRUE(File.open(QIODevice::WriteOnly) && File.write(Text) == Text.size());
        return File.fileName();
    };
    const QString sUser =
        Write("user.cpp",
              "struct Hidden; namespace in { class Hidden; struct Twice; struct Never; }\n"
              "Hidden *pHidden; in::Hidden *pInner; in::Twice *pTwice; in::Never *pNever;\nint main() { return 0; }\n");
    const QString sOwner =
        Write("owner.cpp", "struct Base { int Id; };\nstruct Hidden : Base { int a; Hidden *pNext; } Root;\n"
                           "namespace in { class Hidden { char m_a[20]; public: int Get() { return m_a[0]; } } Inner;\n"
                           "struct Twice { int a; } One; struct Deep { struct Mid { struct In { int v; } i; } m; } "
                           "TheDeep; }\nint Use() { return in::Inner.Get(); }\n");
    const QString sOther = Write("other.cpp", "namespace in { struct Twice { int a, b; } Two; }\n");
    const QString sElf = m_Dir.filePath("declared.elf");
    if (!BuildCross("g++",
                    {"-mcpu=cortex-m4", "-mthumb", "-nostdlib", "-g", "-w", "-Wl,-e,main", sUser, sOwner, sOther},
                    sElf)) {
        GTEST_SKIP() << "no compiler for ARM is installed";
    }
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    struct ROW {
        const char* sPointer;
        U32 Size; ///< 0: it isn't known which one is meant
        qsizetype NumMembers;
        qsizetype NumBases;
    };
    for (const ROW& Row :
         {ROW{"pHidden", 12, 2, 1}, ROW{"pInner", 20, 2, 0}, ROW{"pTwice", 0, 0, 0}, ROW{"pNever", 0, 0, 0}}) {
        const ELF_SYM_HANDLE hPointer = ElfApi_GetSymDataType(ElfApi_FindSym(Row.sPointer, true, false, false, false));
        const ELF_SYM_HANDLE hType = ElfApi_GetSymDataType(hPointer);
        EXPECT_NE(hType, 0u) << Row.sPointer;
        EXPECT_EQ(ElfApi_GetSymSize(hType), Row.Size) << Row.sPointer;
        EXPECT_EQ(ElfApi_GetMembers(hType).size(), Row.NumMembers) << Row.sPointer;
        EXPECT_EQ(ElfApi_GetBases(hType).size(), Row.NumBases) << Row.sPointer;
    }
    EXPECT_EQ(ElfApi_GetSymName(ElfApi_FindSym("in::Deep::Mid::In", false, false, true, false)), "In");
}
