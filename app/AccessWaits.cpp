#include "app/AccessWaits.h"

#include "app/MainWindow.h"
#include "app/Session.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/DeviceDataProvider.h"
#include "device/DeviceEventWorker.h"
#include "device/JobTable.h"
#include "script/JScript.h"

#include <QCoreApplication>
#include <algorithm>

namespace {

constexpr U64 PUMP_AFTER_MS = 20; ///< a wait of less is over before anybody would see it
constexpr U32 WAIT_ROUND_MS = 1;

struct REFUSAL_ROW {
    U32 Job;
    const char* sError;
};

// Reads aren't in here: a command that reads sees itself what it got.
constexpr REFUSAL_ROW aRefusal[] = {
    {JT_WRITE_MEM, "could not write MCU memory"},          {JT_WRITE_REG, "could not write the register"},
    {JT_SET_BP, "could not set the breakpoint"},           {JT_CLEAR_BP, "could not clear the breakpoint"},
    {JT_CLEAR_ALL_BPS, "could not clear all breakpoints"}, {JT_SET_WPS, "could not set the data breakpoint"},
    {JT_CLEAR_WPS, "could not clear the data breakpoint"}, {JT_CLEAR_ALL_WPS, "could not clear all data breakpoints"},
    {JT_CONNECT, "could not connect to the target"},       {JT_RESET, "could not reset the target"},
    {JT_EXEC_NOVIK_CMD, "the probe refused the command"},
};

U32 NumCancels = 0;
int NumWaits = 0;

enum WAIT_END { WAIT_DONE, WAIT_CANCELLED, WAIT_TIMEOUT };

U32 TimeoutMs(U64 First, U64 Last) {
    U32 Limit = GetJobTypeRow(JT_NONE).TimeoutMs;
    for (const REFUSAL_ROW& Row : aRefusal) {
        const bool IsAsked = CDevice::Get().Queue().IsUnfinished(First, Last, Row.Job);
        Limit = IsAsked ? std::max(Limit, GetJobTypeRow(Row.Job).TimeoutMs) : Limit;
    }
    return Limit;
}

WAIT_END WaitForJobs(U64 First, U64 Last) {
    CDevice& Device = CDevice::Get();
    const U32 NumCancelsBefore = NumCancels;
    const U32 Limit = TimeoutMs(First, Last);
    const U64 Start = Device.Clock().NowMs();
    for (;;) {
        const U64 NumFinished = Device.Queue().NumFinished();
        if (!Device.Queue().IsUnfinished(First, Last)) {
            return WAIT_DONE;
        }
        const U64 Elapsed = Device.Clock().NowMs() - Start;
        if (NumCancels != NumCancelsBefore || (Elapsed > PUMP_AFTER_MS && !PumpDuringRead())) {
            Device.Queue().CancelNumbered(First, Last);
            return WAIT_CANCELLED;
        }
        if (Elapsed > Limit || Device.isFinished()) {
            return WAIT_TIMEOUT;
        }
        Device.Queue().WaitForFinished(NumFinished, WAIT_ROUND_MS);
    }
}

/// Why the command failed, or null.
const char* ErrorOf(WAIT_END End, U64 First, U64 Last) {
    if (End != WAIT_DONE) {
        return End == WAIT_CANCELLED ? "cancelled" : "the target takes too long; the access goes on";
    }
    const auto* pRow = std::find_if(std::begin(aRefusal), std::end(aRefusal), [=](const REFUSAL_ROW& Row) {
        return CDevice::Get().Queue().HasFailed(Row.Job, First, Last);
    });
    return pRow == std::end(aRefusal) ? nullptr : pRow->sError;
}

} // namespace

U64 MarkCommandJobs() { return CDevice::Get().Queue().LastSeqNo(); }

bool WaitForAccess(COMMAND_ID Id, U64 Mark) {
    const U64 Last = MarkCommandJobs();
    const QStringList Args = CCommandTable::GetArgs(Id);
    const QString sError = CCommandTable::GetError(Id);
    if (Last == Mark) {
        return sError.isEmpty();
    }
    NumWaits++;
    const WAIT_END End = WaitForJobs(Mark + 1, Last);
    NumWaits--;
    const char* const sWhy = ErrorOf(End, Mark + 1, Last);
    DeliverDeviceEvents(MAX_EVENTS_PER_TICK);
    // A command of the same name that ran meanwhile has taken both away.
    if (!Args.isEmpty()) {
        CCommandTable::SetArgs(Id, Args);
    }
    CCommandTable::SetError(Id, sError.isEmpty() && sWhy != nullptr ? QString::fromLatin1(sWhy) : sError);
    return CCommandTable::GetError(Id).isEmpty();
}

bool CancelAccess() {
    NumCancels++;
    return CDeviceDataProvider::Get().Direct().CancelWaits() || NumWaits != 0;
}

bool ReadForCommand(COMMAND_ID Id, U32 Addr, U32 NumBytes, void* pData) {
    QByteArray Status(static_cast<qsizetype>(NumBytes), '\1');
    const U32 NumCancelsBefore = NumCancels;
    if (CDevice::Get().ReadMemBlocking(Addr, NumBytes, pData, reinterpret_cast<U8*>(Status.data())) == 0) {
        return true;
    }
    const U32 NumRead = static_cast<U32>(std::max<qsizetype>(Status.indexOf('\1'), 0));
    const U64 Mark = MarkCommandJobs();
    if (NumCancels != NumCancelsBefore) {
        CCommandTable::SetError(Id, QStringLiteral("cancelled"));
    } else {
        // What is read again says why it can't be.
        CDevice::Get().Post<READ_MEM_JOB>(Addr + NumRead, NumBytes - NumRead, 0u, MEM_ACCESS_WIDTH_DEFAULT, 0u, true,
                                          true);
        CCommandTable::SetError(Id, QStringLiteral("could not read MCU memory"));
    }
    WaitForAccess(Id, Mark);
    return false;
}

bool ReadRegForCommand(COMMAND_ID Id, U32 Idx, I64* pValue) {
    if (CDevice::Get().ReadRegBlocking(Idx, pValue) == 0) {
        return true;
    }
    const U64 Mark = MarkCommandJobs();
    CDevice::Get().Post<READ_REG_JOB>(Idx, true, true);
    CCommandTable::SetError(Id, QStringLiteral("could not read the register"));
    WaitForAccess(Id, Mark);
    return false;
}

bool PumpDuringRead() {
    QCoreApplication::processEvents();
    return !ScriptIsEnding() && !CMainWindow::Get().GetSession().IsClosing();
}
