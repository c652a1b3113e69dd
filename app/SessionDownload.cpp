#include "app/Ask.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "base/ConsoleRing.h"
#include "datafile/JFile.h"
#include "device/Device.h"
#include "elf/ElfApi.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QInputDialog>
#include <QThread>
#include <utility>

// Program files and how they reach the target.

namespace {

constexpr int INIT_SP_PC_PAUSE_MS = 25; ///< time for the device thread to take up the set-up of SP and PC

struct CHUNK_ROW {
    U32 MaxSpeedHz;
    U32 ChunkSize;
};

constexpr CHUNK_ROW aChunk[] = {{50'000, 8'000}, {100'000, 16'000}, {500'000, 32'000}};
constexpr U32 CHUNK_SIZE_ADAPTIVE = 16'000;
constexpr U32 NO_CHUNKING = 0xFFFFFFFF;
constexpr int SPEED_ADAPTIVE = 65535;
constexpr I64 MAX_DOWNLOAD = 1'000'000'000; ///< bytes, the largest buffer a device job takes

constexpr int DOWNLOAD_NOT_VERIFIED = -4; ///< result of the probe library

struct CODE_TEXT {
    int Code;
    const char* sText;
};

constexpr CODE_TEXT aDownloadError[] = {
    {-1, "Novik reports an unspecified error"},
    {-2, "error during compare phase"},
    {-3, "error during program/erase phase"},
    {DOWNLOAD_NOT_VERIFIED, "error during verification phase"},
};

QString DownloadErrorText(int Code) {
    for (const CODE_TEXT& Row : aDownloadError) {
        if (Row.Code == Code) {
            return QString::fromLatin1(Row.sText);
        }
    }
    return QString::fromLatin1(aDownloadError[0].sText);
}

/// Anything that isn't one of the other data files is taken for an ELF file, whatever its name.
bool IsElfFile(const QString& sPath) { return !JFile::IsBinFile(sPath) && !JFile::IsRecordFile(sPath); }

/// Blocks of a data file, a binary one's at Address. The error text, empty on success.
QString ReadBlocks(const QString& sPath, I64 Address, QList<CMemBlock>* pBlocks) {
    constexpr I64 ADDR_END = 0x100000000;
    const bool IsBinary = JFile::IsBinFile(sPath);
    if (!QFileInfo::exists(sPath)) {
        return QStringLiteral("file not found");
    }
    if (IsBinary && Address < 0) {
        return QStringLiteral("invalid parameter");
    }
    *pBlocks = JFile::ReadFile(sPath, Address);
    I64 Total = 0;
    for (const CMemBlock& Block : std::as_const(*pBlocks)) {
        Total += Block.Size;
    }
    if (Total < 1 || Total > MAX_DOWNLOAD || (IsBinary && Total > ADDR_END - Address)) {
        return JFile::IsRecordFile(sPath) && Total == 0 ? QStringLiteral("invalid data file")
                                                        : QStringLiteral("invalid file size");
    }
    if (IsBinary) {
        (*pBlocks)[0].Addr = (*pBlocks)[0].VAddr = static_cast<U32>(Address);
    }
    return {};
}

/// Keeps the device thread from running jobs while the program changes under it. On a slow link a job takes seconds:
/// the window lives meanwhile, without input, and the wait ends without the lock if it is closed.
class CSchedulerLock {
public:
    explicit CSchedulerLock(const CSession& Session)
        : m_IsLocked(CDevice::Get().LockScheduler([&Session] {
              QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
              CDevice::Get().Queue().WaitForFinished(CDevice::Get().Queue().NumFinished(), 1);
              return !Session.IsClosing();
          })) {}
    ~CSchedulerLock() { Unlock(); }
    CSchedulerLock(const CSchedulerLock&) = delete;
    CSchedulerLock& operator=(const CSchedulerLock&) = delete;
    bool IsLocked() const { return m_IsLocked; }
    void Unlock() {
        if (std::exchange(m_IsLocked, false)) {
            CDevice::Get().UnlockScheduler();
        }
    }

private:
    bool m_IsLocked;
};

QList<CMemBlock> ElfBlocks() {
    QList<CMemBlock> Blocks;
    for (const ELF_SEGMENT& Segment : ElfApi_GetLoadSegments()) {
        Blocks.append({Segment.PAddr, Segment.Data});
    }
    return Blocks;
}

} // namespace

void CSession::TellProgramChanged() {
    CWindow::TellAll([](CWindow& Window) { Window.OnProgramChanged(); });
}

void CSession::TellProgramClosing() {
    CWindow::TellAll([](CWindow& Window) { Window.OnProgramClosing(); });
}

U32 CSession::GetChunkSize() const {
    const CDevice& Device = CDevice::Get();
    if (Device.GetConfigParam(DEV_CFG_SPEED) == SPEED_ADAPTIVE) {
        return CHUNK_SIZE_ADAPTIVE;
    }
    for (const CHUNK_ROW& Row : aChunk) {
        if (Device.GetInterfaceSpeed() <= Row.MaxSpeedHz) {
            return Row.ChunkSize;
        }
    }
    return NO_CHUNKING;
}

void CSession::DownloadProgram(const QString& sPath, DOWNLOAD_KIND Kind, I64 Address) {
    if ((Kind != DL_PROGRAM && sPath.isEmpty()) || !CDevice::Get().IsConnected()) {
        return;
    }
    m_DownloadKind = Kind;
    SetStatus(QStringLiteral("Writing Memory..."));
    if (Kind == DL_EXEC) {
        WriteDownload(sPath, Address);
        return;
    }
    ExecuteScriptFunction(SF_BEFORE_TARGET_DOWNLOAD);
    if (Kind == DL_LOAD) {
        WriteDownload(sPath, Address);
    } else if (!m_sOpenError.isEmpty()) {
        StopAtFailedDownload(m_sOpenError);
    } else if (ScriptIsDefined(SF_TARGET_DOWNLOAD)) {
        CDevice::Get().SetSuppressByte(JT_END_DOWNLOAD, 1);
        ExecuteScriptFunction(SF_TARGET_DOWNLOAD);
        CDevice::Get().SetSuppressByte(JT_END_DOWNLOAD, 0);
        const int Result = CDevice::Get().GetLastDownloadResult();
        if (Result < 0) {
            OnDeviceEndDownloadFailed(sPath.toUtf8().constData(), Result);
        } else {
            FinishDownload();
        }
    } else if (!sPath.isEmpty()) {
        WriteDownload(sPath, Address);
    } else {
        FinishDownload();
    }
}

void CSession::WriteDownload(const QString& sPath, I64 Address) {
    CDevice& Device = CDevice::Get();
    if (!Device.IsConnected() || sPath.isEmpty()) {
        return;
    }
    const bool IsProgramFile = sPath == CProject::Get().GetProgramFile();
    QList<CMemBlock> Blocks;
    if (IsProgramFile) {
        Blocks = IsElfFile(sPath) ? ElfBlocks() : CProject::Get().GetProgramData();
    } else {
        const QString sError = ReadBlocks(sPath, Address, &Blocks);
        if (!sError.isEmpty()) {
            StopAtFailedDownload(sPath + QStringLiteral(": ") + sError);
            return;
        }
    }
    QList<MEM_RANGE> Ranges;
    QByteArray Data;
    for (const CMemBlock& Block : std::as_const(Blocks)) {
        Ranges.append({Block.Addr, Block.Addr + Block.Size});
        Data.append(Block.Data);
    }
    if (Ranges.isEmpty()) {
        StopAtFailedDownload(sPath + QStringLiteral(": the file has nothing to download"));
        return;
    }
    const U32 Flags = MEM_FLAG_DOWNLOAD | (Device.IsHalted() ? 0 : MEM_FLAG_HALT);
    if (Device.PostWriteMemMultiple(Ranges, Data, GetChunkSize(), MEM_ACCESS_WIDTH_DEFAULT, Flags) != 0 ||
        Device.PostEndDownload(false, sPath.toUtf8()) != 0) {
        StopAtFailedDownload(sPath +
                             QStringLiteral(": the file is too large, or too many target accesses are waiting"));
    }
}

void CSession::OnDeviceEndDownloadDone(const char*) {
    SetStatus(QStringLiteral("Download Complete."));
    EndOfDownload();
}

void CSession::ShowDownloadFailure(const QStringList& Problems) {
    ShowWarnings(
        QStringLiteral("Unsuccessfull Data Download"), QStringLiteral("The data file was not downloaded correctly."),
        Problems,
        QStringLiteral("It is recommended to restart the debug session or to download\nthe program file manually "
                       "using command File.Download"),
        QMessageBox::Ok, QMessageBox::Ok);
}

/// Nothing reached the target: what is in its flash isn't this program, so it isn't run.
void CSession::StopAtFailedDownload(const QString& sProblem) {
    SetStatus(QStringLiteral("Download Failed."));
    ConsolePrintError(sProblem);
    ShowDownloadFailure({sProblem});
    CDevice& Device = CDevice::Get();
    if (m_DownloadKind == DL_PROGRAM && Device.IsConnected()) {
        Device.MarkSessionReady();
        Device.PostHalt();
    }
}

// Without verification the user doesn't want to hear that it failed; anything else left the program incomplete.
void CSession::OnDeviceEndDownloadFailed(const char*, int Result) {
    QStringList Problems = QString::fromUtf8(CDevice::Get().GetDownloadProblems()).split('\n', Qt::SkipEmptyParts);
    const bool IsRefused = !Problems.isEmpty(); // the device has printed each
    SetStatus(QStringLiteral("Download Failed."));
    if (!IsRefused) {
        Problems.append(DownloadErrorText(Result));
        ConsolePrint(Problems.last());
    }
    if (IsRefused || Result != DOWNLOAD_NOT_VERIFIED || SysVarValue(VAR_VERIFY_DOWNLOAD) != 0) {
        ShowDownloadFailure(Problems);
    }
    EndOfDownload();
}

void CSession::EndOfDownload() {
    if (m_DownloadKind == DL_LOAD) {
        ExecuteScriptFunction(SF_AFTER_TARGET_DOWNLOAD);
    } else if (m_DownloadKind == DL_PROGRAM) {
        FinishDownload();
    }
}

void CSession::FinishDownload() {
    CDevice& Device = CDevice::Get();
    if (ScriptIsDefined(SF_AFTER_TARGET_DOWNLOAD)) {
        ExecuteScriptFunction(SF_AFTER_TARGET_DOWNLOAD);
    } else {
        Device.RequestInitTargetSPandPC();
        QThread::msleep(INIT_SP_PC_PAUSE_MS);
    }
    Device.PostStartInstTrace();
    if (SysVarValue(VAR_CONNECT_MODE) == CM_DOWNLOAD_RESET) {
        switch (SysVarValue(VAR_RESET_MODE)) {
        case RM_BREAK_AT_SYMBOL:
            if (RunToBreakSymbol() == 0) {
                Device.SetSessionReady();
            } else {
                m_MessageBoxTimer.start();
                Device.MarkSessionReady();
                Device.PostHalt();
            }
            break;
        case RM_RESET_AND_RUN:
            Device.SetSessionReady();
            ResumeTarget();
            break;
        default:
            Device.MarkSessionReady();
            Device.PostHalt();
            break;
        }
    }
    InvalidateViews();
}

QString CSession::OpenRecords(const QString& sPath, bool IsBinary) {
    if (IsBinary && m_LoadAddress < 0) {
        bool IsAccepted = false;
        const QString sText = IsUnattended()
                                  ? QString()
                                  : QInputDialog::getText(&m_MainWindow, QStringLiteral("Load Address"),
                                                          QStringLiteral("Address of the first byte:"),
                                                          QLineEdit::Normal, QStringLiteral("0x00000000"), &IsAccepted);
        bool IsNumber = false;
        m_LoadAddress = sText.toUInt(&IsNumber, 0);
        if (!IsAccepted || !IsNumber) {
            m_LoadAddress = -1;
            return QStringLiteral("invalid parameter");
        }
    }
    QList<CMemBlock> Blocks;
    const QString sError = ReadBlocks(sPath, m_LoadAddress, &Blocks);
    if (!sError.isEmpty()) {
        return sError;
    }
    CProject::Get().SetBinLoadAddr(IsBinary ? m_LoadAddress : 0);
    CProject::Get().SetProgramData(Blocks);
    m_LoadAddress = -1;
    return {};
}

void CSession::NoteOpenResult(const QString& sPath, const QString& sError) {
    m_sOpenError = sError.isEmpty() ? QString()
                                    : QStringLiteral("the program file could not be opened: %1: %2").arg(sPath, sError);
}

QString CSession::OpenDataFile(const QString& sPath) {
    QElapsedTimer Timer;
    Timer.start();
    m_SavedBreakpoints.insert(qHash(m_sCurrentProgramFile.toLower()), CDevice::Get().GetBreakpoints());
    const bool IsElf = !sPath.isEmpty() && IsElfFile(sPath);
    QString sError;
    // Taken before anything changes: events are handled while it is waited for.
    CSchedulerLock Lock(*this);
    if (!Lock.IsLocked() && !sPath.isEmpty()) {
        return QStringLiteral("the program is closing");
    }
    if (sPath.isEmpty()) {
        TellProgramClosing();
        if (Lock.IsLocked()) {
            ElfApi_Deinit(); // else it goes behind the device thread
        }
    } else if (IsElf) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        SetStatus(QStringLiteral("Opening File..."));
        const bool WasOpen = ElfApi_IsOpen();
        CProject::Get().SetProgramFile(sPath);
        if (!WasOpen) {
            CDevice::Get().PostResetTargetExecState();
        }
        sError = ElfApi_Init(sPath) == 0 ? QString() : ElfApi_GetErrorText();
        CDevice::Get().Target().ResetInstStore();
        QApplication::restoreOverrideCursor();
    } else {
        Lock.Unlock(); // records change nothing that jobs use, and the user may be asked
        sError = OpenRecords(sPath, JFile::IsBinFile(sPath));
        if (sError.isEmpty()) {
            CProject::Get().SetProgramFile(sPath);
        }
    }
    Lock.Unlock();
    NoteOpenResult(sPath, sError);
    if (!sError.isEmpty()) {
        SetStatus(QStringLiteral("Ready"));
        m_MainWindow.UpdateTitle();
        return sError;
    }
    OnDataFileOpened(sPath, IsElf, Timer.elapsed());
    return {};
}

int CSession::RelocateSymbols(const QString& sSymbols, I32 Offset) {
    int Result = 0;
    {
        const CSchedulerLock Lock(*this);
        if (!Lock.IsLocked()) {
            return -1;
        }
        Result = ElfApi_RelocateSymbols(sSymbols, Offset);
        if (ElfApi_IsOpen()) {
            CDevice::Get().Target().ResetInstStore();
        }
    }
    if (ElfApi_IsOpen()) {
        EvaluateBreakSymbol();
        TellProgramChanged();
    }
    return Result;
}

void CSession::RestoreBreakpoints(bool IsSameFile) {
    if (IsSameFile) {
        return; // the device kept them
    }
    CDevice& Device = CDevice::Get();
    Device.PostClearAllBreakpoints();
    Device.PostClearAllWatchpoints();
    for (const BPEntry& Entry : m_SavedBreakpoints.value(qHash(m_sCurrentProgramFile.toLower()))) {
        Device.PostSetBreakpoint(Entry.Addr, Entry.State, Entry.Type);
    }
}

void CSession::OnDataFileOpened(const QString& sPath, bool IsElf, qint64 ElapsedMs) {
    CDevice& Device = CDevice::Get();
    const bool IsSameFile = sPath == m_sCurrentProgramFile;
    if (!sPath.isEmpty()) {
        Device.PostSetConfigParam(DEV_CFG_ENDIAN, IsElf && ElfApi_GetDataEncoding() != 0 ? ENDIAN_BIG : ENDIAN_LITTLE);
    }
    m_sCurrentProgramFile = sPath;
    if (!sPath.isEmpty()) {
        RestoreBreakpoints(IsSameFile);
    }
    m_MainWindow.GetSourceWindow().setFocus();
    EvaluateBreakSymbol();
    m_MainWindow.UpdateActions();
    m_MainWindow.UpdateTitle();
    if (!Device.IsConnected() || sPath.isEmpty()) {
        SetStatus(QStringLiteral("Ready"));
    } else if (m_DownloadKind == DL_LOAD) {
        SetStatus(QStringLiteral("Writing Memory..."));
        ExecuteScriptFunction(SF_BEFORE_TARGET_DOWNLOAD);
        WriteDownload(sPath, m_LoadAddress);
    } else if (!Device.IsSessionReady() || IsSameFile || !IsElf) {
        ResetTarget(RM_PRE_DOWNLOAD);
    }
    if (IsElf) {
        ConsolePrint(QStringLiteral("File.Open: completed in %1 ms").arg(ElapsedMs));
        for (const QString& sMissing : ElfApi_GetMissing()) {
            ConsolePrint(sMissing);
        }
    }
    if (!IsSameFile && !sPath.isEmpty()) {
        ShowMainFunc();
    }
    TellProgramChanged();
}
