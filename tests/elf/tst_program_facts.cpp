#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "project/SourceLocation.h"
#include "tests/elf/CrossBuild.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QDir>
#include <QFile>

// What programs of unusual builds tell: code outside of its unit's range, files of one name, functions in functions,
// data without debug information, debug information that isn't there.

class ProgramFacts : public CElfTest {
protected:
    QString Write(const QString& sName, const QByteArray& sText) const {
        QDir(m_Dir.path()).mkpath(QFileInfo(sName).path());
        QFile File(m_Dir.filePath(sName));
        EXPECT_TRUE(File.open(QIODevice::WriteOnly) && File.write(sText) == sText.size());
        return File.fileName();
    }
    /// Builds and opens. False where the compiler is missing.
    bool Build(const QStringList& Args) const {
        const QString sElf = m_Dir.filePath("a.elf");
        return BuildCross("gcc", QStringList{"-mcpu=cortex-m4", "-mthumb", "-nostdlib", "-ffreestanding"} + Args,
                          sElf) &&
               ElfApi_Init(sElf) == 0;
    }
    static QString FuncAt(const char* sSymbol) {
        const ELF_SYM_HANDLE h = ElfApi_GetFuncAtAddr(static_cast<U32>(GetSymbolAddress(QString::fromLatin1(sSymbol))));
        return ElfApi_GetSymName(h);
    }
};

TEST_F(ProgramFacts, CodeOutsideOfItsUnitsRangeHasLines) {
    const QString sFile = Write("a.c", "volatile int g;\n"
                                       "__attribute__((noinline)) int f(int x) {\n  return x * g;\n}\n"
                                       "int main(void) {\n  g = 1;\n  return f(2);\n}\n"
                                       "__attribute__((section(\".far\"))) int Far(void) {\n  return g;\n}\n");
    if (!Build({"-gdwarf-2", "-gstrict-dwarf", "-O3", "-Wl,--section-start=.far=0x40000", "-e", "main", sFile})) {
        GTEST_SKIP() << "no compiler for ARM is installed";
    }
    struct {
        const char* sName;
        U32 Line;
    } const aFunc[] = {{"f", 2}, {"main", 5}, {"Far", 9}};
    for (const auto& Func : aFunc) {
        const I64 Addr = GetSymbolAddress(Func.sName);
        ASSERT_GT(Addr, 0) << Func.sName;
        EXPECT_EQ(ElfApi_GetSrcLoc(static_cast<U32>(Addr)).Line, Func.Line) << Func.sName;
        EXPECT_EQ(FuncAt(Func.sName), Func.sName);
    }
}

TEST_F(ProgramFacts, FilesOfOneNameAreToldApartByTheShortestPath) {
    const QString sA = Write("a/util.c", "int UtilA(int x) {\n  return x + 1;\n}\n");
    const QString sB = Write("b/util.c", "int UtilB(int x) {\n  return x + 2;\n}\n");
    const QString sMain =
        Write("main.c", "int UtilA(int); int UtilB(int);\nint main(void) {\n  return UtilA(1) + UtilB(2);\n}\n");
    if (!Build({"-g", "-O0", "-e", "main", sA, sB, sMain})) {
        GTEST_SKIP() << "no compiler for ARM is installed";
    }
    for (const auto& [sFunc, sShort] :
         {std::pair{"UtilA", "a/util.c:1"}, {"UtilB", "b/util.c:1"}, {"main", "main.c:2"}}) {
        const U32 Addr = static_cast<U32>(GetSymbolAddress(sFunc));
        EXPECT_EQ(FormatSourceLocation(ElfApi_GetSrcLoc(Addr)), sShort);
        EXPECT_EQ(ResolveLocation(sShort), Addr) << sShort;
        EXPECT_EQ(CanonicalLocation(m_Dir.filePath(sShort)), sShort);
    }
    EXPECT_EQ(ResolveLocation("util.c:1"), -1) << "either file may be meant";
}

TEST_F(ProgramFacts, TheInnermostOfOverlappingFunctionsIsTheOne) {
    const QString sFile = Write("a.s", "  .syntax unified\n  .thumb\n  .text\n"
                                       "  .global Outer, Inner, Data, __limit\n  .type Outer,%function\nOuter: nop\n"
                                       "  .type Inner,%function\nInner: nop\n  nop\n  .size Inner, .-Inner\n"
                                       "  .global Tail\nTail: nop\n  .size Outer, .-Outer\n"
                                       "  .data\n  .type Data,%object\nData: .word 5\n  .size Data,4\n");
    if (!Build({"-e", "Outer", "-Wl,--defsym=__limit=0x20001000", sFile})) {
        GTEST_SKIP() << "no compiler for ARM is installed";
    }
    EXPECT_EQ(FuncAt("Outer"), "Outer");
    EXPECT_EQ(FuncAt("Inner"), "Inner");
    EXPECT_EQ(FuncAt("Tail"), "Outer");
    I64 Value = 0;
    EXPECT_TRUE(EvaluateText("Data", &Value)) << "only the symbol table has it";
    EXPECT_GT(Value, 0);
    EXPECT_TRUE(EvaluateText("__limit", &Value));
    EXPECT_EQ(Value, 0x20001000);
}

TEST_F(ProgramFacts, WhatIsMissingIsSaidWithWhatToDo) {
    const QString sFile = Write("a.c", "int g;\nint main(void) {\n  return g;\n}\n");
    struct {
        const char* sFlags;
        const char* sMissing; ///< null: nothing
    } const aCase[] = {
        {"-g -gz=zlib", nullptr},
        {"-g -gsplit-dwarf -gdwarf-5", "Build without -gsplit-dwarf."},
        {"-g -gsplit-dwarf -gdwarf-4", "Build without -gsplit-dwarf."},
        {"-g0", "Build with -g."},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sFlags);
        if (!Build(QString(Case.sFlags).split(' ') + QStringList{"-e", "main", sFile})) {
            GTEST_SKIP() << "no compiler for ARM is installed";
        }
        const QStringList Missing = ElfApi_GetMissing();
        EXPECT_EQ(Missing.size(), Case.sMissing != nullptr ? 1 : 0) << qPrintable(Missing.join('\n'));
        EXPECT_TRUE(Case.sMissing == nullptr || Missing.first().endsWith(Case.sMissing))
            << qPrintable(Missing.join('\n'));
    }
    CElfImageBuilder Builder;
    Builder.AddSection(".debug_info", 1, SHF_COMPRESSED, 0, QByteArray::fromHex("02000000d4010000010000002800"), 0);
    QFile Zstd(Write("zstd.elf", Builder.Build()));
    ASSERT_EQ(ElfApi_Init(Zstd.fileName()), 0) << qPrintable(ElfApi_GetErrorText());
    EXPECT_TRUE(ElfApi_GetMissing().value(0).contains("zstd"));
}
