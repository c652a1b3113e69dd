// Opening a project of 1,000 lines and 100 functions: reading the file, registering constants, commands and functions,
// and running an OnProjectLoad without commands. The peer is the goal.

#include "project/Project.h"
#include "script/JScript.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int NUM_FUNCTIONS = 100;
constexpr int LINES_PER_FUNCTION = 10;
constexpr int NUM_RUNS = 50;
constexpr double GOAL_MS = 20;

QByteArray MakeProject() {
    QByteArray Text;
    for (int i = 0; i < NUM_FUNCTIONS; ++i) {
        const QByteArray Name = i == 0 ? QByteArray("OnProjectLoad") : "Function" + QByteArray::number(i);
        Text += "void " + Name +
                " (void) {\n  int i;\n  // what it does\n  i = 0;\n  while (i < 10) {\n    i += 1;\n  }\n"
                "  if (i == 10) { i = 0; }\n}\n\n";
    }
    return Text;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication App(argc, argv);
    const QTemporaryDir Dir;
    const QString sPath = Dir.filePath(QStringLiteral("large.dbgprj"));
    QFile File(sPath);
    const QByteArray Text = MakeProject();
    if (!File.open(QIODevice::WriteOnly) || File.write(Text) != Text.size() ||
        Text.count('\n') != NUM_FUNCTIONS * LINES_PER_FUNCTION) {
        return 1;
    }
    File.close();
    std::vector<double> aMs;
    for (int i = 0; i < NUM_RUNS; ++i) {
        QElapsedTimer Timer;
        Timer.start();
        CProject::Get().Open(sPath);
        if (ScriptExecute(SF_ON_PROJECT_LOAD) < 0) {
            return 1;
        }
        aMs.push_back(static_cast<double>(Timer.nsecsElapsed()) / 1e6);
    }
    std::sort(aMs.begin(), aMs.end());
    std::printf("project_open %.3f ms goal %.0f %.3f\n", aMs[NUM_RUNS / 2], GOAL_MS, aMs[NUM_RUNS / 2] / GOAL_MS);
    return 0;
}
