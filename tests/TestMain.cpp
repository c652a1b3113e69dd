#include "base/Application.h"

#include <QApplication>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

// One main for all test programs: an application on the offscreen platform whose settings go to a test location.

namespace {

void FilterMessages(QtMsgType Type, const QMessageLogContext&, const QString& sText) {
    if (Type != QtDebugMsg && !sText.contains(QLatin1String("propagateSizeHints"))) {
        std::fprintf(stderr, "%s\n", qPrintable(sText));
    }
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    qInstallMessageHandler(FilterMessages);
    const QTemporaryDir Settings; // the test mode of QStandardPaths doesn't reach QSettings
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, Settings.path());
    QApplication App(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VANTLE"));
    QApplication::setApplicationName(QStringLiteral("BraskTests"));
    return RUN_ALL_TESTS();
}
