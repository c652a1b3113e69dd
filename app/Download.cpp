#include "app/Download.h"

#include "app/Ask.h"
#include "app/MainWindow.h"
#include "app/ProgramBlocks.h"
#include "app/ProgramFile.h"
#include "app/Session.h"
#include "app/StatusBar.h"
#include "base/ConsoleRing.h"
#include "device/Device.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/SysVars.h"

#include <utility>

namespace {

struct CHUNK_ROW {
    U32 MaxSpeedHz;
    U32 ChunkSize;
};

constexpr CHUNK_ROW aChunk[] = {{50'000, 8'000}, {100'000, 16'000}, {500'000, 32'000}};
constexpr U32 CHUNK_SIZE_ADAPTIVE = 16'000;
constexpr U32 NO_CHUNKING = 0xFFFFFFFF;
constexpr int SPEED_ADAPTIVE = 65535;

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

U32 GetChunkSize() {
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

void ShowDownloadFailure(const QStringList& Problems) {
    ShowWarnings(
        QStringLiteral("Unsuccessfull Data Download"), QStringLiteral("The data file was not downloaded correctly."),
        Problems,
        QStringLiteral("It is recommended to restart the debug session or to download\nthe program file manually "
                       "using command File.Download"),
        QMessageBox::Ok, QMessageBox::Ok);
}

} // namespace

void CDownload::Start(const QString& sPath, DOWNLOAD_KIND Kind, I64 Address) {
    if ((Kind != DL_PROGRAM && sPath.isEmpty()) || !CDevice::Get().IsConnected()) {
        return;
    }
    m_Kind = Kind;
    m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Writing Memory..."));
    if (Kind == DL_EXEC) {
        Write(sPath, Address);
        return;
    }
    m_MainWindow.GetSession().ExecuteScriptFunction(SF_BEFORE_TARGET_DOWNLOAD);
    if (Kind == DL_LOAD) {
        Write(sPath, Address);
    } else if (!m_MainWindow.GetProgramFile().GetOpenError().isEmpty()) {
        Stop(m_MainWindow.GetProgramFile().GetOpenError());
    } else if (ScriptIsDefined(SF_TARGET_DOWNLOAD)) {
        CDevice::Get().SetSuppressByte(JT_END_DOWNLOAD, 1);
        m_MainWindow.GetSession().ExecuteScriptFunction(SF_TARGET_DOWNLOAD);
        CDevice::Get().SetSuppressByte(JT_END_DOWNLOAD, 0);
        const int Result = CDevice::Get().GetLastDownloadResult();
        if (Result < 0) {
            OnDeviceEndDownloadFailed(sPath.toUtf8().constData(), Result);
        } else {
            m_MainWindow.GetSession().FinishDownload();
        }
    } else if (!sPath.isEmpty()) {
        Write(sPath, Address);
    } else {
        m_MainWindow.GetSession().FinishDownload();
    }
}

void CDownload::Write(const QString& sPath, I64 Address) {
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
            Stop(sPath + QStringLiteral(": ") + sError);
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
        Stop(sPath + QStringLiteral(": the file has nothing to download"));
        return;
    }
    const U32 Flags = MEM_FLAG_DOWNLOAD | (Device.IsHalted() ? 0 : MEM_FLAG_HALT);
    if (Device.PostWriteMemMultiple(Ranges, Data, GetChunkSize(), MEM_ACCESS_WIDTH_DEFAULT, Flags) != 0 ||
        Device.PostEndDownload(false, sPath.toUtf8()) != 0) {
        Stop(sPath + QStringLiteral(": the file is too large, or too many target accesses are waiting"));
    }
}

void CDownload::OnDeviceEndDownloadDone(const char*) {
    m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Download Complete."));
    End();
}

/// Nothing reached the target: what is in its flash isn't this program, so it isn't run.
void CDownload::Stop(const QString& sProblem) {
    m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Download Failed."));
    ConsolePrintError(sProblem);
    ShowDownloadFailure({sProblem});
    CDevice& Device = CDevice::Get();
    if (m_Kind == DL_PROGRAM && Device.IsConnected()) {
        Device.MarkSessionReady();
        Device.PostHalt();
    }
}

// Without verification the user doesn't want to hear that it failed; anything else left the program incomplete.
void CDownload::OnDeviceEndDownloadFailed(const char*, int Result) {
    QStringList Problems = QString::fromUtf8(CDevice::Get().GetDownloadProblems()).split('\n', Qt::SkipEmptyParts);
    const bool IsRefused = !Problems.isEmpty(); // the device has printed each
    m_MainWindow.GetStatusBar().SetStatusMessage(QStringLiteral("Download Failed."));
    if (!IsRefused) {
        Problems.append(DownloadErrorText(Result));
        ConsolePrint(Problems.last());
    }
    if (IsRefused || Result != DOWNLOAD_NOT_VERIFIED || SysVarValue(VAR_VERIFY_DOWNLOAD) != 0) {
        ShowDownloadFailure(Problems);
    }
    End();
}

void CDownload::End() {
    if (m_Kind == DL_LOAD) {
        m_MainWindow.GetSession().ExecuteScriptFunction(SF_AFTER_TARGET_DOWNLOAD);
    } else if (m_Kind == DL_PROGRAM) {
        m_MainWindow.GetSession().FinishDownload();
    }
}
