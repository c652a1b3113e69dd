#include "elf/ElfApi.h"

#include "base/Log.h"
#include "elf/Elf.h"
#include "elf/ElfApiState.h"
#include "elf/ElfInternal.h"
#include "elf/ElfMissing.h"
#include "elf/ElfReloc.h"
#include "elf/LoadLog.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QFile>
#include <algorithm>

namespace {

std::recursive_mutex Mutex; ///< the one lock of the module
ELF_FILE* pOpenFile;
QString sErrorText;
ELF_MSG_HANDLER pfSink;

/// Keeps the first error of an open, the most specific one, and passes the text on.
void OnMessage(const char* sText, U32 Level) {
    if (Level == ELF_MSG_READER && pOpenFile == nullptr && sErrorText.isEmpty()) {
        sErrorText = QString::fromUtf8(sText);
    }
    if (pfSink != nullptr) {
        pfSink(sText, Level);
    }
}

const ELF_FILE* File() { return ELF_GetCurrentFile(); }

/// Program data as it is loaded: where it stands in the file and its addresses on the target.
struct LOAD_SPAN {
    const U8* pData;
    U32 PAddr;
    U32 VAddr;
    U32 Size;
};

std::vector<LOAD_SPAN> Spans; ///< of the open file

void LoadSpans() {
    constexpr U32 PT_LOAD = 1;
    const ELF_FILE* pFile = File();
    Spans.clear();
    for (U32 i = 0; i < ELF_GetNumSegments(pFile); ++i) {
        const U8* pData = ELF_GetSegmentData(pFile, i);
        const U32 Off = ELF_GetSegmentDataOffset(pFile, i);
        const U32 Size = ELF_GetSegmentFileSize(pFile, i);
        if (ELF_GetSegmentType(pFile, i) == PT_LOAD && pData != nullptr && Off < Size) {
            // What stands in front of the first section is padding or the file's own headers, not program.
            Spans.push_back({pData + Off, ELF_Relocate(ELF_GetSegmentPAddr(pFile, i) + Off),
                             ELF_Relocate(ELF_GetSegmentVAddr(pFile, i) + Off), Size - Off});
        }
    }
}

/// Closes the file, if one is open. What was relocated before a file was opened stays for the next one.
void Close() {
    ElfApi_ExitSyms();
    ElfApi_ExitFind();
    ElfApi_ExitLines();
    Spans.clear();
    QElapsedTimer Timer;
    Timer.start();
    ELF_Close(pOpenFile);
    if (pOpenFile != nullptr && IsVerboseLogging()) {
        qDebug("ELF_Close() after ms: %lld", static_cast<long long>(Timer.elapsed()));
    }
    pOpenFile = nullptr;
}

} // namespace

std::recursive_mutex& ElfApi_Mutex() { return Mutex; }

void ElfApi_SetMsgHandler(void (*pfHandler)(const char* sText, U32 Level)) {
    const std::lock_guard Lock(Mutex);
    pfSink = pfHandler;
}

int ElfApi_Init(const QString& sPath) {
    const std::lock_guard Lock(Mutex);
    Close();
    sErrorText.clear();
    ELF_SetMsgHandler(OnMessage);
    pOpenFile = ELF_Open(QFile::encodeName(sPath).constData());
    if (pOpenFile == nullptr) {
        return -1;
    }
    sErrorText.clear();
    ELF_StartLoadLog();
    LoadSpans();
    ELF_NoteStep(ELF_STEP_SEGMENTS);
    ELF_NoteStep(ELF_STEP_LISTS); // these three came with the file
    ELF_NoteStep(ELF_STEP_INLINES);
    ELF_NoteStep(ELF_STEP_FRAMES);
    std::vector<ELF_TASK> Tasks;
    ElfApi_StartFind(&Tasks);
    Tasks.push_back({ElfApi_BuildLines}); // the longest comes first
    ELF_RunTasks(Tasks, pOpenFile->FileSize);
    ELF_Detach(pOpenFile);
    if (IsVerboseLogging()) {
        ELF_WriteLoadLog();
        qDebug("ELF-API wrapper initialized in %lld ms", static_cast<long long>(ELF_GetLoadTime()));
        qDebug("Function count: %zu", ELF_GetListCnt(ELF_LIST_FUNCS) + ElfApi_FuncIndex().ElfFuncs().size());
        qDebug("Global variable count: %u", ELF_GetListCnt(ELF_LIST_GLOBALS));
    }
    return 0;
}

void ElfApi_Deinit() {
    const std::lock_guard Lock(Mutex);
    QElapsedTimer Timer;
    Timer.start();
    Close();
    ELF_ClearRelocs();
    if (IsVerboseLogging()) {
        qDebug("ELF-API Wrapper deinitialized after ms: %lld", static_cast<long long>(Timer.elapsed()));
    }
}

bool ElfApi_IsOpen() {
    const std::lock_guard Lock(Mutex);
    return File() != nullptr;
}

QStringList ElfApi_GetMissing() {
    const std::lock_guard Lock(ElfApi_Mutex());
    QStringList Texts;
    for (const std::string& sText : ELF_FindMissing(ELF_GetCurrentFile())) {
        Texts.append(QString::fromStdString(sText));
    }
    return Texts;
}

QString ElfApi_GetErrorText() {
    const std::lock_guard Lock(Mutex);
    return sErrorText;
}

I64 ElfApi_GetBaseAddr() {
    const std::lock_guard Lock(Mutex);
    I64 Base = -1;
    for (const LOAD_SPAN& Span : Spans) {
        Base = Base < 0 ? static_cast<I64>(Span.PAddr) : std::min<I64>(Base, Span.PAddr);
    }
    return Base;
}

I64 ElfApi_GetEntryPointPC() {
    const std::lock_guard Lock(Mutex);
    return File() != nullptr ? static_cast<I64>(ELF_GetEntryPoint(File())) : -1;
}

int ElfApi_GetDataEncoding() {
    const std::lock_guard Lock(Mutex);
    return ELF_GetDataEncoding(File());
}

U32 ElfApi_GetMemRegionKind(U32 Addr, U32* pLo, U32* pHi) {
    const std::lock_guard Lock(Mutex);
    const ELF_MEM_REGION Region = ELF_GetMemRegion(ELF_Unrelocate(Addr));
    if (pLo != nullptr) {
        *pLo = ELF_Relocate(Region.AddrLo);
    }
    if (pHi != nullptr) {
        *pHi = ELF_Relocate(Region.AddrHi, true);
    }
    return Region.Kind;
}

int ElfApi_ReadMem(U32 Addr, U32 NumBytes, void* pBuf) {
    const std::lock_guard Lock(Mutex);
    const U32 First = ELF_Unrelocate(Addr);
    const bool HasMovedAsOne = NumBytes == 0 || ELF_Unrelocate(Addr + NumBytes, true) - First == NumBytes;
    return HasMovedAsOne ? ELF_ReadMem(First, NumBytes, pBuf) : -1;
}

QList<ELF_SEGMENT> ElfApi_GetLoadSegments() {
    const std::lock_guard Lock(Mutex);
    QList<ELF_SEGMENT> Segments;
    for (const LOAD_SPAN& Span : Spans) {
        const char* pData = reinterpret_cast<const char*>(Span.pData);
        Segments.append({Span.PAddr, Span.VAddr, QByteArray(pData, static_cast<qsizetype>(Span.Size))});
    }
    std::stable_sort(Segments.begin(), Segments.end(),
                     [](const ELF_SEGMENT& a, const ELF_SEGMENT& b) { return a.PAddr < b.PAddr; });
    return Segments;
}

int ElfApi_RelocateSymbols(const QString& sSymbols, I32 Offset) {
    const std::lock_guard Lock(Mutex);
    const int Result = ELF_AddReloc(sSymbols.toUtf8().constData(), Offset);
    if (File() == nullptr) {
        return 0; // a name may still mean something in the file to come
    }
    const U32 PC = ElfApi_GetCurrentPC(); // what was kept of answers is of the addresses before
    ElfApi_ExitSyms();
    ELF_BuildImage(File());
    LoadSpans();
    ElfApi_RebuildLines();
    ElfApi_OnRelocated();
    ElfApi_SetCurrentPC(PC);
    return Result;
}
