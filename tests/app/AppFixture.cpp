#include "tests/app/AppFixture.h"

#include "app/Application.h"
#include "device/DeviceDataProvider.h"
#include "elf/ElfApi.h"
#include "project/Project.h"
#include "script/JScript.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QSettings>
#include <QTest>

namespace {

constexpr int MAX_WAIT_MS = 30'000;

/// Owns the main window from the first test to the last.
class CAppEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        m_pSettingsDir = std::make_unique<QTemporaryDir>();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_pSettingsDir->path());
        InstallHooks();
        CDeviceDataProvider::Get();
        m_pWindow = std::make_unique<CMainWindow>();
        m_pWindow->show();
        m_pWindow->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(m_pWindow.get()));
        // What the first show does must not come between a test's steps.
        EXPECT_TRUE(WaitUntil([this] {
            m_pWindow->GetConsole().DrainRing();
            return m_pWindow->GetConsole().GetText().contains(QLatin1String("Novik software found at"));
        }));
    }

    void TearDown() override {
        EXPECT_TRUE(m_pWindow->close());
        EXPECT_FALSE(CDevice::Get().isRunning());
        m_pWindow.reset();
    }

private:
    std::unique_ptr<QTemporaryDir> m_pSettingsDir;
    std::unique_ptr<CMainWindow> m_pWindow;
};

const ::testing::Environment* const pEnvironment = ::testing::AddGlobalTestEnvironment(new CAppEnvironment);

QStringList ConsoleLines() { return CMainWindow::Get().GetConsole().GetText().split(QLatin1Char('\n')); }

void Drain() {
    while (CMainWindow::Get().GetConsole().DrainRing()) {
    }
}

} // namespace

bool WaitUntil(const std::function<bool()>& Condition) {
    QElapsedTimer Timer;
    Timer.start();
    while (!Condition()) {
        if (Timer.elapsed() > MAX_WAIT_MS) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void CAppTest::SetUp() {
    ASSERT_TRUE(OpenProject("demo.dbgprj", DemoProject()));
    ASSERT_TRUE(WaitUntil([] { return ElfApi_IsOpen(); }));
    MarkConsole();
}

void CAppTest::TearDown() {
    EXPECT_TRUE(StopSession());
    Device().PostClearAllBreakpoints();
    EXPECT_TRUE(WaitUntil([] { return Device().GetBreakpoints().isEmpty(); }));
}

QString CAppTest::WriteFile(const QString& sName, const QByteArray& Data) const {
    QFile File(Path(sName));
    EXPECT_TRUE(File.open(QIODevice::WriteOnly) && File.write(Data) == Data.size()) << File.fileName().toStdString();
    return File.fileName();
}

bool CAppTest::OpenProject(const QString& sName, const QString& sText) {
    const QString sPath = WriteFile(sName, sText.toUtf8());
    bool IsOpened = false;
    const QMetaObject::Connection Connection =
        QObject::connect(&CProject::Get(), &CProject::Opened, [&](const QString& s) { IsOpened |= s == sPath; });
    const bool Ok =
        Run("File.Open (\"" + sPath + "\")") && WaitUntil([&] { return IsOpened && ScriptGetCallLevel() == 0; });
    QObject::disconnect(Connection);
    return Ok;
}

void CAppTest::MarkConsole() {
    Drain();
    m_NumOldLines = ConsoleLines().size();
}

QStringList CAppTest::NewLines() const {
    Drain();
    return ConsoleLines().mid(m_NumOldLines);
}

I64 CAppTest::AddressOf(const char* sSymbol) {
    return ElfApi_GetSymAddr(ElfApi_FindSym(QString::fromLatin1(sSymbol), true, false, false, true));
}

bool CAppTest::IsHaltedAt(I64 Addr) {
    return Device().IsConnected() && Device().IsHalted() && Device().IsSessionReady() && Device().GetPC() == Addr;
}

bool CAppTest::StartSession() { return Run("Debug.Start()") && WaitForHaltAt(AddressOf("main")); }

bool CAppTest::StopSession() {
    if (Device().IsConnected()) {
        Run("Debug.Stop()");
    }
    return WaitUntil([] {
        return !Device().IsConnected() && Window().GetStatusBar().GetConnectionInfo() == QLatin1String("Disconnected");
    });
}

QString DemoSource(const QString& sFile) { return QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/src/") + sFile; }

int DemoLineWith(const QString& sFile, const QString& sText) {
    QFile File(DemoSource(sFile));
    if (!File.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QStringList Lines = QString::fromUtf8(File.readAll()).split(QLatin1Char('\n'));
    for (qsizetype i = 0; i < Lines.size(); ++i) {
        if (Lines[i].contains(sText)) {
            return static_cast<int>(i) + 1;
        }
    }
    return 0;
}

QString DemoProject(const QString& sMoreLines, const QString& sFunctions) {
    return QStringLiteral("void OnProjectLoad (void) {\n"
                          "  Project.SetDevice (\"Cortex-M4\");\n"
                          "  Project.SetHostIF (\"USB\", \"\");\n"
                          "  Project.SetTargetIF (\"SWD\");\n"
                          "  Project.SetTIFSpeed (\"4 MHz\");\n"
                          "  File.Open (\"" BRASK_SOURCE_DIR "/examples/demo/demo.elf\");\n") +
           sMoreLines + QStringLiteral("}\n") + sFunctions;
}
