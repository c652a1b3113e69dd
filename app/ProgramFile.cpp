#include "app/ProgramFile.h"

#include "app/Ask.h"
#include "app/Download.h"
#include "app/MainWindow.h"
#include "app/ProgramBlocks.h"
#include "app/Session.h"
#include "app/StatusBar.h"
#include "base/ConsoleRing.h"
#include "datafile/JFile.h"
#include "device/Device.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "project/SourceLocation.h"
#include "script/JScript.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QInputDialog>
#include <utility>

namespace {

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

void TellProgramChanged() {
    CWindow::TellAll([](CWindow& Window) { Window.OnProgramChanged(); });
}

void TellProgramClosing() {
    CWindow::TellAll([](CWindow& Window) { Window.OnProgramClosing(); });
}

} // namespace

QString CProgramFile::OpenRecords(const QString& sPath, bool IsBinary) {
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

void CProgramFile::NoteOpenResult(const QString& sPath, const QString& sError) {
    m_sOpenError = sError.isEmpty() ? QString()
                                    : QStringLiteral("the program file could not be opened: %1: %2").arg(sPath, sError);
}

QString CProgramFile::Open(const QString& sPath) {
    QElapsedTimer Timer;
    Timer.start();
    m_SavedBreakpoints.insert(qHash(m_sPath.toLower()), CDevice::Get().GetBreakpoints());
    const bool IsElf = !sPath.isEmpty() && IsElfFile(sPath);
    QString sError;
    // Taken before anything changes: events are handled while it is waited for.
    CSchedulerLock Lock(m_MainWindow.GetSession());
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
        m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Opening File..."));
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
        m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Ready"));
        m_MainWindow.UpdateTitle();
        return sError;
    }
    OnOpened(sPath, IsElf, Timer.elapsed());
    return {};
}

int CProgramFile::RelocateSymbols(const QString& sSymbols, I32 Offset) {
    int Result = 0;
    {
        const CSchedulerLock Lock(m_MainWindow.GetSession());
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

void CProgramFile::RestoreBreakpoints(bool IsSameFile) {
    if (IsSameFile) {
        return; // the device kept them
    }
    CDevice& Device = CDevice::Get();
    Device.PostClearAllBreakpoints();
    Device.PostClearAllWatchpoints();
    for (const BPEntry& Entry : m_SavedBreakpoints.value(qHash(m_sPath.toLower()))) {
        Device.PostSetBreakpoint(Entry.Addr, Entry.State, Entry.Type);
    }
}

void CProgramFile::OnOpened(const QString& sPath, bool IsElf, qint64 ElapsedMs) {
    CDevice& Device = CDevice::Get();
    const bool IsSameFile = sPath == m_sPath;
    if (!sPath.isEmpty()) {
        Device.PostSetConfigParam(DEV_CFG_ENDIAN, IsElf && ElfApi_GetDataEncoding() != 0 ? ENDIAN_BIG : ENDIAN_LITTLE);
    }
    m_sPath = sPath;
    if (!sPath.isEmpty()) {
        RestoreBreakpoints(IsSameFile);
    }
    m_MainWindow.GetSourceWindow().setFocus();
    EvaluateBreakSymbol();
    m_MainWindow.UpdateActions();
    m_MainWindow.UpdateTitle();
    if (!Device.IsConnected() || sPath.isEmpty()) {
        m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Ready"));
    } else if (m_MainWindow.GetDownload().GetKind() == DL_LOAD) {
        m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Writing Memory..."));
        m_MainWindow.GetSession().ExecuteScriptFunction(SF_BEFORE_TARGET_DOWNLOAD);
        m_MainWindow.GetDownload().Write(sPath, m_LoadAddress);
    } else if (!Device.IsSessionReady() || IsSameFile || !IsElf) {
        m_MainWindow.GetSession().ResetTarget(RM_PRE_DOWNLOAD);
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

bool CProgramFile::EvaluateBreakSymbol() const {
    const I64 Addr = GetSymbolAddress(SysVarTextValue(VAR_BREAK_AT_THIS_SYMBOL));
    // Stored at once as well: the chain asks for it in the same turn of the event loop.
    CDevice::Get().StoreConfigParam(DEV_CFG_BREAK_ADDR, static_cast<I32>(Addr));
    return Addr >= 0;
}

void CProgramFile::ShowMainFunc() const {
    const I64 Main = GetSymbolAddress(QStringLiteral("main"));
    const CSrcLoc Loc = Main >= 0 ? ElfApi_GetSrcLoc(static_cast<U32>(Main)) : CSrcLoc();
    if (Loc.IsValid()) {
        const QString sPath = CFileFinder::Get().FindFile(ElfApi_GetFilePath(Loc.FileId));
        if (FileExists(sPath)) {
            m_MainWindow.GetSourceWindow().ShowLocation(sPath, static_cast<int>(Loc.Line));
        }
    }
}
