// A program file: opens it and asks for symbols, lines and call frames of all addresses found. The first bytes are also
// evaluated as a location expression.

#include "elf/DwarfExpr.h"
#include "elf/Elf.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"

#include <QString>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr U32 MAX_ASKED = 300; ///< addresses of each kind

void _AskAddr(U32 Addr) {
    ELF_SRC_LOC Loc;
    ELF_SYM_LOC aRule[30];
    ElfApi_GetSrcLoc(Addr, &Loc);
    ElfApi_GetFuncName(ElfApi_GetFuncAtAddr(Addr));
    for (const CSrcLoc& Pos : ElfApi_GetSrcLocs(Addr)) {
        ElfApi_GetAddrs(Pos);
        ElfApi_GetLineEntryAddrs(Pos);
        ElfApi_GetNextCodeLine(Pos);
        ElfApi_GetPrevCodeLine(Pos);
        ElfApi_GetFilePath(Pos.FileId);
    }
    ElfApi_IsLineStart(Addr);
    ElfApi_GetNextLineAddr(Addr);
    ElfApi_GetFileAtAddr(Addr);
    ElfApi_GetRegRules(Addr, aRule);
    ElfApi_GetCFA(Addr);
    ElfApi_GetStackSize(Addr);
}

void _AskFile() {
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    for (U32 i = 0; i < pFile->Lines.Lines.size() && i < MAX_ASKED; ++i) {
        _AskAddr(pFile->Lines.Lines[i].AddrLo);
    }
    for (U32 i = 0; i < ELF_GetFuncSymCnt(pFile) && i < MAX_ASKED; ++i) {
        _AskAddr(ELF_GetSym(pFile, ELF_GetFuncSymIdx(pFile, i))->st_value);
    }
    for (U32 i = 0; i < ElfApi_GetFdeCnt() && i < MAX_ASKED; ++i) {
        _AskAddr(ElfApi_GetFdeAddrLo(i));
        _AskAddr(ElfApi_GetFdeAddrHi(i) - 2);
    }
    ElfApi_GetSrcFiles();
    ElfApi_GetSrcFileIds();
    ElfApi_GetLoadSegments();
    ElfApi_GetSymbolAddr(QStringLiteral("main"));
}

int _Zero(void*, U32, U64* pValue) {
    *pValue = 0;
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) {
    constexpr size_t MAX_EXPR = 256;
    ELF_EXPR_ENV Env;
    Env.pfReadReg = _Zero;
    ELF_EvalExpr(pData, static_cast<U32>(Size < MAX_EXPR ? Size : MAX_EXPR), Env);
    const int File = memfd_create("input", 0);
    if (File < 0 || write(File, pData, Size) != static_cast<ssize_t>(Size)) {
        return 0;
    }
    if (ElfApi_Init(QStringLiteral("/proc/self/fd/%1").arg(File)) == 0) {
        _AskFile();
    }
    ElfApi_Exit();
    close(File);
    return 0;
}
