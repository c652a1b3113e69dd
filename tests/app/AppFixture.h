#pragma once

// One main window for the whole test program, with its device thread and the simulated target behind it. Each test
// begins with the demo project open and no session.

#include "app/ConsoleWindow.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "app/StatusBar.h"
#include "command/CommandTable.h"
#include "device/Device.h"

#include <QTemporaryDir>
#include <functional>
#include <gtest/gtest.h>

/// Processes events until the condition holds. False if it doesn't within 30 s.
bool WaitUntil(const std::function<bool()>& Condition);

class CAppTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    static CMainWindow& Window() { return CMainWindow::Get(); }
    static CDevice& Device() { return CDevice::Get(); }
    static bool Run(const QString& sLine) { return Window().GetConsole().ExecuteCommand(sLine) == 1; }
    /// Writes a project file beside the test's other files and opens it. False if it doesn't open.
    bool OpenProject(const QString& sName, const QString& sText);
    QString WriteFile(const QString& sName, const QByteArray& Data) const;
    QString Path(const QString& sName) const { return m_Dir.filePath(sName); }

    /// From here on NewLines() begins.
    void MarkConsole();
    QStringList NewLines() const;
    std::string NewText() const { return NewLines().join('\n').toStdString(); }

    /// Runs to main. False if that fails.
    static bool StartSession();
    static bool StopSession();
    static bool IsHaltedAt(I64 Addr);
    static bool WaitForHaltAt(I64 Addr) {
        return WaitUntil([=] { return IsHaltedAt(Addr); });
    }
    static I64 AddressOf(const char* sSymbol);

private:
    QTemporaryDir m_Dir;
    qsizetype m_NumOldLines = 0;
};

/// 1-based line of the only line with this text in a source of the demo program; 0 if there is none.
int DemoLineWith(const QString& sFile, const QString& sText);
QString DemoSource(const QString& sFile);
/// The demo project's text, with more lines at the end of OnProjectLoad and more functions behind it.
QString DemoProject(const QString& sMoreLines = {}, const QString& sFunctions = {});
