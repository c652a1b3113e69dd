#include "fuzz/AskElf.h"

#include "elf/Elf.h"
#include "elf/ElfApiFrame.h"

#include <cstdint>

namespace {

/// Calls Ask(i) for at most Max numbers spread over [0, Num).
template <typename ASK> void Spread(size_t Num, U32 Max, ASK Ask) {
    const size_t Count = Num < Max ? Num : Max;
    for (size_t i = 0; i < Count; ++i) {
        Ask(Num * i / Count);
    }
}

void AskLines(U32 Addr) {
    for (const CSrcLoc& Loc : ElfApi_GetSrcLocs(Addr)) {
        ElfApi_GetAddrs(Loc);
        ElfApi_GetLineEntryAddrs(Loc);
        ElfApi_GetNextCodeLine(Loc);
        ElfApi_GetPrevCodeLine(Loc);
        ElfApi_GetFileId(ElfApi_GetFilePath(Loc.FileId));
        ElfApi_ParseSrcLoc(QStringLiteral("%1:%2").arg(Loc.FileId).arg(Loc.Line));
    }
    ElfApi_GetLastSrcLoc(Addr);
    ElfApi_IsLineStart(Addr);
    ElfApi_GetNextLineAddr(Addr);
    ElfApi_RangeHasSrcLoc({Addr, 16});
    ElfApi_GetFuncsOfFile(ElfApi_GetFileAtAddr(Addr));
}

void AskAddr(U32 Addr) {
    constexpr U32 NUM_RULES = 30;
    ELF_SYM_LOC aRule[NUM_RULES];
    U8 aByte[8];
    AskLines(Addr);
    ElfApi_GetFuncsAtAddr(Addr);
    ElfApi_GetFuncsInRange({Addr, 64});
    ElfApi_GetMemRegionKind(Addr);
    ElfApi_ReadMem(Addr, sizeof(aByte), aByte);
    ElfApi_GetRegRules(Addr, aRule);
    ElfApi_GetCFA(Addr);
    ElfApi_GetStackSize(Addr);
    ElfApi_FindSymsAtAddr(Addr, true, true);
    ElfApi_SetCurrentPC(Addr);
    ElfApi_FindSym(QStringLiteral("this"), true, true, true, true);
}

void AskMember(ELF_SYM_HANDLE h) {
    ElfApi_GetMemberOffset(h);
    ElfApi_GetSymBitWidth(h);
    ElfApi_GetSymBitOffset(h);
    ElfApi_GetSymAccessibility(h);
    ElfApi_GetSymDataTypeName(h);
    ElfApi_GetSymSize(h);
}

void AskType(ELF_SYM_HANDLE h) {
    constexpr U32 MAX_MEMBERS = 50;
    const ELF_SYM_LIST Members = ElfApi_GetMembers(h);
    Spread(static_cast<size_t>(Members.size()), MAX_MEMBERS,
           [&](size_t i) { AskMember(Members[static_cast<qsizetype>(i)]); });
    ElfApi_GetSymArrayDims(h);
    ElfApi_IsSymSigned(h);
    ElfApi_GetMemberIdx(h, QStringLiteral("Value"));
    ElfApi_FindInherited(h, QStringLiteral("Value"));
    ElfApi_GetBaseClassNames(h);
    ElfApi_GetNamespacePath(h);
    ElfApi_GetSymScopeName(h);
    ElfApi_GetSymName(h, true);
}

int ReadReg(void*, U32 Reg, U64* pValue) {
    *pValue = 0x20000000 + Reg;
    return 0;
}

int ReadImage(void*, U32 Addr, U32 NumBytes, U8* pBuf) { return ElfApi_ReadMem(Addr, NumBytes, pBuf); }

/// A frame that seems to have called itself, over and over.
ELF_FRAME MakeFrame(U32 PC) {
    ELF_FRAME Frame;
    Frame.PC = PC;
    Frame.ResumePC = PC;
    Frame.pfReadReg = ReadReg;
    Frame.pfReadMem = ReadImage;
    Frame.pContext = reinterpret_cast<void*>(static_cast<std::uintptr_t>(PC));
    Frame.pfGetCaller = [](void* p, ELF_FRAME* pCaller) {
        *pCaller = MakeFrame(static_cast<U32>(reinterpret_cast<std::uintptr_t>(p)));
        return 0;
    };
    return Frame;
}

void AskPlace(ELF_SYM_HANDLE h, U32 PC) {
    ElfApi_IsInScope(h, PC);
    ElfApi_LocToText(ElfApi_GetSymLoc(h, PC));
    ElfApi_ReadSym(h, MakeFrame(PC));
}

void AskSym(ELF_SYM_HANDLE h) {
    const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(h);
    for (const U32 PC : {0u, Range.Addr, Range.Addr + 4, 0x8000u}) {
        AskPlace(h, PC);
    }
    AskMember(h);
    AskType(h);
    const ELF_SYM_HANDLE hType = ElfApi_GetSymDataType(h);
    AskType(hType);
    ElfApi_GetSymDataType(hType, true);
    ElfApi_GetSymAddr(h);
    ElfApi_GetSymConstValue(h);
    ElfApi_GetSymDeclLoc(h);
    ElfApi_GetSymCallLoc(h);
    ElfApi_GetSymSrcLoc(h);
    ElfApi_GetParentFunc(h);
    ElfApi_GetAbstrInstance(h);
    ElfApi_GetThisPointer(h);
    U32 Size = 0;
    int Kind = 0;
    const QString sName = ElfApi_GetSymName(h);
    ElfApi_FindSyms(sName, true, true, true, true);
    ElfApi_ParseAddr(sName, &Kind);
    ElfApi_ParseLoc(sName, Range.Addr, &Size);
}

void AskLocals(ELF_SYM_HANDLE hFunc, U32 NumAsked) {
    const ELF_SYM_LIST Locals = ElfApi_LocalVars(hFunc);
    const U32 PC = ElfApi_GetSymAddrRange(hFunc).Addr;
    Spread(static_cast<size_t>(Locals.size()), NumAsked, [&](size_t i) {
        const ELF_SYM_HANDLE h = Locals[static_cast<qsizetype>(i)];
        AskPlace(h, PC + 2);
        AskPlace(h, PC + 10);
        AskType(ElfApi_GetSymDataType(h));
    });
}

void AskSections(const ELF_FILE* pFile, U32 NumAsked) {
    Spread(ELF_GetNumSections(pFile), NumAsked, [&](size_t i) {
        ELF_RELOC Reloc;
        ELF_ReadReloc(pFile, static_cast<U32>(i), 0, &Reloc);
        ELF_ReadReloc(pFile, static_cast<U32>(i), 1, &Reloc);
        ELF_GetSectionString(pFile, static_cast<U32>(i), 1);
        ELF_GetSectionName(pFile, static_cast<U32>(i));
    });
}

} // namespace

void AskElf(U32 NumAsked) {
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    I64 Line = ElfApi_GetNextAddr(0);
    for (U32 i = 0; i < NumAsked && Line >= 0; ++i) {
        AskAddr(static_cast<U32>(Line));
        Line = ElfApi_GetNextAddr(static_cast<U32>(Line));
    }
    Spread(pFile->NumSyms, NumAsked, [&](size_t i) { AskAddr(pFile->paSym[i].st_value); });
    Spread(ElfApi_GetFdeCnt(), NumAsked, [](size_t i) {
        AskAddr(ElfApi_GetFdeAddrLo(static_cast<U32>(i)));
        AskAddr(ElfApi_GetFdeAddrHi(static_cast<U32>(i)) - 2);
    });
    AskSections(pFile, NumAsked);
    for (const ELF_SYM_LIST& List : {ElfApi_Functions(), ElfApi_GlobalVars(), ElfApi_Types(), ElfApi_Namespaces()}) {
        Spread(static_cast<size_t>(List.size()), NumAsked, [&](size_t i) {
            AskSym(List[static_cast<qsizetype>(i)]);
            AskLocals(List[static_cast<qsizetype>(i)], NumAsked);
        });
    }
    ElfApi_OnSrcFileLocated(ElfApi_GetSrcFiles().value(0), QStringLiteral("/elsewhere/x.c"));
    ElfApi_GetLoadSegments();
    ElfApi_GetBaseAddr();
    ElfApi_GetEntryPointPC();
    ElfApi_GetEntryFuncPC();
    ElfApi_GetMainFunc();
}
