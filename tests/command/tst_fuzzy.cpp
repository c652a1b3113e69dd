#include "command/FuzzyMatch.h"

#include <QStringList>
#include <gtest/gtest.h>

namespace {

TEST(FuzzyMatch, FindsAndOrders) {
    struct CASE {
        const char* sPattern;
        const char* sBetter;
        const char* sWorse; ///< null: doesn't fit at all
    };
    const CASE aCase[] = {
        {"reset", "Debug.Reset", "Debug.SetResetMode"},
        {"dso", "Debug.StepOver", "Debug.Disconnect"},
        {"so", "Debug.StepOver", "Project.AddFileAlias"},
        {"open", "File.Open", "Help.Manual"},
        {"fio", "File.Open", "File.CloseAllButThis"},
        {"STEP OVER", "Debug.StepOver", "Debug.StepInto"},
        {"xyz", "File.Exit", nullptr},
    };
    for (const CASE& Case : aCase) {
        const int Better = FuzzyScore(Case.sPattern, Case.sBetter);
        if (Case.sWorse == nullptr) {
            EXPECT_EQ(Better, -1) << Case.sPattern;
        } else {
            EXPECT_GE(Better, 0) << Case.sPattern;
            EXPECT_GT(Better, FuzzyScore(Case.sPattern, Case.sWorse)) << Case.sPattern;
        }
    }
    EXPECT_EQ(FuzzyScore("", "File.Open"), 0);
    EXPECT_EQ(FuzzyScore("a", ""), -1);
}

} // namespace
