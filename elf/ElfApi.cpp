#include "elf/ElfApi.h"

#include "elf/Elf.h"
#include "elf/ElfApiState.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

namespace {

std::recursive_mutex Mutex; ///< the one lock of the module
ELF_FILE* pOpenFile;
QString sErrorText;
ELF_MSG_HANDLER pfSink;

/// Keeps the first error of an open, the most specific one, and passes the text on.
void _OnMessage(const char* sText, U32 Level) {
    if (Level == ELF_MSG_READER && pOpenFile == nullptr && sErrorText.isEmpty()) {
        sErrorText = QString::fromUtf8(sText);
    }
    if (pfSink != nullptr) {
        pfSink(sText, Level);
    }
}

const ELF_FILE* _File() { return ELF_GetCurrentFile(); }

/// Row that covers the address; the last one that starts at or below it and reaches it.
const ELF_LINE* _FindLine(U32 Addr) {
    const ELF_FILE* pFile = _File();
    if (pFile == nullptr) {
        return nullptr;
    }
    const std::vector<ELF_LINE>& Lines = pFile->Lines.Lines;
    auto It = std::upper_bound(Lines.begin(), Lines.end(), Addr,
                               [](U32 Value, const ELF_LINE& Line) { return Value < Line.AddrLo; });
    constexpr int MAX_OVERLAP = 32; // rows of different sequences at one place, as after section merging
    for (int i = 0; i < MAX_OVERLAP && It != Lines.begin(); ++i) {
        --It;
        if (Addr < It->AddrHi) {
            return &*It;
        }
    }
    return nullptr;
}

const std::vector<ELF_LINE>& _Rows() {
    static const std::vector<ELF_LINE> Nothing;
    return _File() != nullptr ? _File()->Lines.Lines : Nothing;
}

bool _IsNameOf(const char* sSym, const QByteArray& Name) { return sSym != nullptr && Name == sSym; }

} // namespace

std::recursive_mutex& ElfApi_Mutex() { return Mutex; }

void ElfApi_SetMsgHandler(void (*pfHandler)(const char* sText, U32 Level)) {
    const std::lock_guard Lock(Mutex);
    pfSink = pfHandler;
}

int ElfApi_Init(const QString& sPath) {
    const std::lock_guard Lock(Mutex);
    ElfApi_Exit();
    sErrorText.clear();
    ELF_SetMsgHandler(_OnMessage);
    pOpenFile = ELF_Open(QFile::encodeName(sPath).constData());
    if (pOpenFile == nullptr) {
        return -1;
    }
    sErrorText.clear();
    ElfApi_InitFind();
    return 0;
}

void ElfApi_Exit() {
    const std::lock_guard Lock(Mutex);
    ElfApi_ExitSyms();
    ElfApi_ExitFind();
    ELF_Close(pOpenFile);
    pOpenFile = nullptr;
}

bool ElfApi_IsOpen() {
    const std::lock_guard Lock(Mutex);
    return _File() != nullptr;
}

QString ElfApi_GetErrorText() {
    const std::lock_guard Lock(Mutex);
    return sErrorText;
}

QString ElfApi_GetFuncName(U64 hFunc) { return ElfApi_IsFunc(hFunc) ? ElfApi_GetSymName(hFunc) : QString(); }

bool ElfApi_GetFuncRange(U64 hFunc, U32* pLo, U32* pHi) {
    const std::lock_guard Lock(Mutex);
    if (!ElfApi_IsFunc(hFunc)) {
        return false;
    }
    const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(hFunc);
    *pLo = Range.Addr;
    *pHi = Range.Addr + Range.Size;
    return true;
}

I64 ElfApi_GetSymbolAddr(const QString& sName) {
    const std::lock_guard Lock(Mutex);
    const ELF_FILE* pFile = _File();
    const QByteArray Name = sName.toUtf8();
    I64 Found = -1;
    for (U32 i = 0; pFile != nullptr && i < pFile->NumSyms; ++i) {
        const Elf32_Sym& Sym = pFile->paSym[i];
        const U32 Type = ELF_GetSymType(Sym);
        if (Sym.st_shndx == 0 || !_IsNameOf(ELF_GetSymNameByIdx(pFile, i), Name)) {
            continue;
        }
        if (ELF_IsFuncType(Type)) {
            return Sym.st_value & ~1u;
        }
        Found = Found < 0 && (Type == STT_OBJECT || Type == STT_NOTYPE) ? Sym.st_value : Found;
    }
    return Found;
}

I64 ElfApi_GetBaseAddr() {
    const std::lock_guard Lock(Mutex);
    const ELF_FILE* pFile = _File();
    I64 Base = -1;
    for (U32 i = 0; i < ELF_GetNumSegments(pFile); ++i) {
        if (ELF_GetSegmentData(pFile, i) != nullptr) {
            const I64 Addr = static_cast<I64>(ELF_GetSegmentPAddr(pFile, i)) + ELF_GetSegmentDataOffset(pFile, i);
            Base = Base < 0 ? Addr : std::min(Base, Addr);
        }
    }
    return Base;
}

I64 ElfApi_GetEntryPoint() {
    const std::lock_guard Lock(Mutex);
    return _File() != nullptr ? static_cast<I64>(ELF_GetEntryPoint(_File())) : -1;
}

int ElfApi_GetDataEncoding() {
    const std::lock_guard Lock(Mutex);
    return ELF_GetDataEncoding(_File());
}

U32 ElfApi_GetMemRegionKind(U32 Addr, U32* pLo, U32* pHi) {
    const std::lock_guard Lock(Mutex);
    const ELF_MEM_REGION Region = ELF_GetMemRegion(Addr);
    if (pLo != nullptr) {
        *pLo = Region.AddrLo;
    }
    if (pHi != nullptr) {
        *pHi = Region.AddrHi;
    }
    return Region.Kind;
}

int ElfApi_ReadMem(U32 Addr, U32 NumBytes, void* pBuf) {
    const std::lock_guard Lock(Mutex);
    return ELF_ReadMem(Addr, NumBytes, pBuf);
}

QList<ELF_SEGMENT> ElfApi_GetLoadSegments() {
    constexpr U32 PT_LOAD = 1;
    const std::lock_guard Lock(Mutex);
    const ELF_FILE* pFile = _File();
    QList<ELF_SEGMENT> Segments;
    for (U32 i = 0; i < ELF_GetNumSegments(pFile); ++i) {
        const U8* pData = ELF_GetSegmentData(pFile, i);
        const U32 Off = ELF_GetSegmentDataOffset(pFile, i);
        const U32 Size = ELF_GetSegmentFileSize(pFile, i);
        if (ELF_GetSegmentType(pFile, i) == PT_LOAD && pData != nullptr && Off < Size) {
            // What stands in front of the first section is padding or the file's own headers, not program.
            Segments.append({ELF_GetSegmentPAddr(pFile, i) + Off, ELF_GetSegmentVAddr(pFile, i) + Off,
                             QByteArray(reinterpret_cast<const char*>(pData + Off), static_cast<qsizetype>(Size - Off))});
        }
    }
    std::stable_sort(Segments.begin(), Segments.end(),
                     [](const ELF_SEGMENT& a, const ELF_SEGMENT& b) { return a.PAddr < b.PAddr; });
    return Segments;
}

bool ElfApi_GetSrcLoc(U32 Addr, ELF_SRC_LOC* pLoc) {
    const std::lock_guard Lock(Mutex);
    const ELF_LINE* pLine = _FindLine(Addr);
    if (pLine == nullptr || pLine->Line == 0) {
        return false;
    }
    *pLoc = {static_cast<I32>(pLine->File), pLine->Line, pLine->Col};
    return true;
}

bool ElfApi_IsStmtStart(U32 Addr) {
    const std::lock_guard Lock(Mutex);
    const ELF_LINE* pLine = _FindLine(Addr);
    return pLine != nullptr && pLine->AddrLo == Addr && pLine->IsStmt != 0;
}

I64 ElfApi_GetAddrOfLine(I32 File, U32 Line, bool IsExact) {
    const std::lock_guard Lock(Mutex);
    const ELF_LINE* pBest = nullptr;
    for (const ELF_LINE& Row : _Rows()) {
        if (static_cast<I32>(Row.File) == File && Row.IsStmt != 0 && Row.Line >= Line &&
            (!IsExact || Row.Line == Line) && (pBest == nullptr || Row.Line < pBest->Line)) {
            pBest = &Row; // rows come by address: the first of a line is its lowest
        }
    }
    return pBest != nullptr ? static_cast<I64>(pBest->AddrLo) : -1;
}

QSet<int> ElfApi_GetCodeLines(I32 File) {
    const std::lock_guard Lock(Mutex);
    QSet<int> Lines;
    for (const ELF_LINE& Row : _Rows()) {
        if (static_cast<I32>(Row.File) == File && Row.IsStmt != 0) {
            Lines.insert(static_cast<int>(Row.Line));
        }
    }
    return Lines;
}

QString ElfApi_GetSrcFile(I32 File) {
    const std::lock_guard Lock(Mutex);
    const ELF_FILE* pFile = _File();
    if (pFile == nullptr || File < 0 || static_cast<size_t>(File) >= pFile->Lines.SrcFiles.size()) {
        return {};
    }
    return QDir::cleanPath(QString::fromStdString(pFile->Lines.SrcFiles[static_cast<size_t>(File)]));
}

QList<QString> ElfApi_GetSrcFiles() {
    const std::lock_guard Lock(Mutex);
    const ELF_FILE* pFile = _File();
    QList<QString> Files;
    for (size_t i = 0; pFile != nullptr && i < pFile->Lines.SrcFiles.size(); ++i) {
        Files.append(ElfApi_GetSrcFile(static_cast<I32>(i)));
    }
    return Files;
}

I32 ElfApi_FindSrcFile(const QString& sPath) {
    const QString sClean = QDir::cleanPath(QString(sPath).replace(QLatin1Char('\\'), QLatin1Char('/')));
    const QList<QString> Files = ElfApi_GetSrcFiles();
    I32 Found = -1;
    int NumFound = 0;
    for (qsizetype i = 0; i < Files.size(); ++i) {
        if (Files[i].compare(sClean, Qt::CaseInsensitive) == 0) {
            return static_cast<I32>(i);
        }
        if (Files[i].endsWith(QLatin1Char('/') + sClean, Qt::CaseInsensitive)) {
            Found = static_cast<I32>(i);
            ++NumFound;
        }
    }
    return NumFound == 1 ? Found : -1;
}
