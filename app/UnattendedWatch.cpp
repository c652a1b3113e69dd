#include "app/UnattendedWatch.h"

#include "app/MainWindow.h"
#include "app/Session.h"
#include "base/ConsoleRing.h"
#include "device/Device.h"
#include "project/Project.h"
#include "script/JScript.h"

namespace {

constexpr int CHECK_MS = 250;
constexpr int MS_PER_SEC = 1000;
constexpr int DEFAULT_TIMEOUT_SEC = 120;
/// A session with nothing to wait for gets so long for what is on its way between two events.
constexpr int IDLE_MS = 2000;

/// True if something goes on that may still bring an event: a script, a job, a project on its way, a target that runs.
bool MayGoOn() {
    const CDevice& Device = CDevice::Get();
    const bool IsRunning = Device.IsConnected() && !Device.IsHalted();
    return ScriptGetCallLevel() != 0 || CProject::Get().IsOpenPending() || IsRunning || !Device.IsIdle();
}

} // namespace

int ParseTimeout(const QString& sText) {
    constexpr int MAX_TIMEOUT_SEC = 1'000'000;
    bool IsNumber = false;
    const int Seconds = sText.toInt(&IsNumber);
    return IsNumber && Seconds > 0 ? qMin(Seconds, MAX_TIMEOUT_SEC) : DEFAULT_TIMEOUT_SEC;
}

CUnattendedWatch::CUnattendedWatch(CMainWindow& MainWindow, int TimeoutSec)
    : m_MainWindow(MainWindow), m_TimeoutSec(TimeoutSec) {
    OnProgress();
    connect(&m_Timer, &QTimer::timeout, this, &CUnattendedWatch::Check);
    m_Timer.start(CHECK_MS);
}

void CUnattendedWatch::Check() {
    const U64 NumPrinted = ConsolePrintCount();
    if (NumPrinted != m_NumPrinted) {
        m_NumPrinted = NumPrinted;
        OnProgress();
    }
    const bool MayGo = MayGoOn();
    if (m_MainWindow.GetSession().IsClosing()) {
        m_Timer.stop();
    } else if (!MayGo && m_LastProgress.hasExpired(IDLE_MS)) {
        End(QStringLiteral("Nothing goes on that could end the session, and nobody is there to go on with it: the "
                           "program ends."));
    } else if (MayGo && m_LastProgress.hasExpired(qint64(m_TimeoutSec) * MS_PER_SEC)) {
        End(QStringLiteral("Nothing has happened for %1 s while %2: the program ends.")
                .arg(m_TimeoutSec)
                .arg(ScriptGetCallLevel() != 0 ? QStringLiteral("a script function runs")
                                               : QStringLiteral("the target runs")));
    }
}

void CUnattendedWatch::End(const QString& sReason) {
    m_Timer.stop();
    ConsolePrintError(sReason);
    m_MainWindow.EndNow(1);
}
