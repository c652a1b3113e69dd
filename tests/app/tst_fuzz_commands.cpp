#include "app/Ask.h"
#include "tests/app/AppFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <random>

// Random command lines against the whole program. BRASK_FUZZ_LINES sets their number for each state, BRASK_FUZZ_SEED
// the first seed.

namespace {

constexpr int DEFAULT_LINES = 150;
constexpr qint64 MAX_LINE_MS = 10'000; ///< a hang, not a measurement: a line takes some ms

class CLineMaker {
public:
    CLineMaker(unsigned Seed, const QString& sDir) : m_Random(Seed), m_sDir(sDir) {}

    QString Make() {
        const U32 Id = Pick(CMD_COUNT);
        const QString sName = CCommandTable::GetName(Id);
        // What ends the program, waits for long or opens another project has tests of its own.
        static const QStringList Left = {"File.Exit", "Util.Sleep", "File.NewProject", "File.NewProjectWizard"};
        if (sName.isEmpty() || Left.contains(sName)) {
            return Garbage();
        }
        const int NumParams = CCommandTable::GetParamCount(Id);
        const int NumArgs = Pick(8) == 0 ? Pick(6) : NumParams;
        QStringList Args;
        for (int i = 0; i < NumArgs; ++i) {
            Args.append(Argument());
        }
        return Pick(2) == 0 ? sName + " (" + Args.join(", ") + ")" : sName + ' ' + Args.join(' ');
    }

private:
    int Pick(int Limit) { return static_cast<int>(m_Random() % static_cast<unsigned>(Limit)); }
    QString Argument() {
        static const QStringList Fixed = {"0",
                                          "1",
                                          "-1",
                                          "0x20000000",
                                          "0x20000FFF",
                                          "0xFFFFFFFF",
                                          "0x100000000",
                                          "0x08000000",
                                          "4294967295",
                                          "main",
                                          "Counter",
                                          "main.c:40",
                                          "main.c:0",
                                          "none.c:9",
                                          "\"\"",
                                          "\"%s%n%1\"",
                                          "PC",
                                          "R15",
                                          "xyz",
                                          "\"<b>&\"",
                                          "Console",
                                          "Source",
                                          "4 MHz",
                                          "SWD",
                                          "1e99",
                                          "$(ProjectDir)",
                                          "VAR_VERIFY_DOWNLOAD",
                                          "COLOR_LOGGING_USER",
                                          "DISPLAY_FORMAT_HEX",
                                          "RM_RESET_HALT",
                                          "0x",
                                          "((",
                                          "\"a, b\"",
                                          "demo.elf"};
        switch (Pick(6)) {
        case 0:
            return QString::number(static_cast<qint64>(m_Random()));
        case 1:
            return '"' + m_sDir + "/f" + QString::number(Pick(4)) + (Pick(2) == 0 ? ".bin\"" : ".hex\"");
        default:
            return Fixed[Pick(static_cast<int>(Fixed.size()))];
        }
    }
    QString Garbage() {
        QString sText;
        for (int i = Pick(40); i > 0; --i) {
            sText.append(QChar(Pick(3) == 0 ? Pick(0x2FF) + 1 : ' ' + Pick(95)));
        }
        return sText;
    }

    std::mt19937 m_Random;
    QString m_sDir;
};

class CFuzzTest : public CAppTest {
protected:
    void SetUp() override {
        CAppTest::SetUp();
        m_sFolder = QDir::currentPath();
        QDir::setCurrent(Path(".")); // lines name files without a folder
    }
    void TearDown() override {
        QDir::setCurrent(m_sFolder);
        SetAnswerSource(nullptr);
        EXPECT_TRUE(OpenProject("after.dbgprj", DemoProject())) << "the program still works";
        CAppTest::TearDown();
    }

private:
    QString m_sFolder;
};

} // namespace

TEST_F(CFuzzTest, AnyLineInAnyStateIsAnswered) {
    const int NumLines = qEnvironmentVariableIsSet("BRASK_FUZZ_LINES")
                             ? qEnvironmentVariableIntValue("BRASK_FUZZ_LINES")
                             : DEFAULT_LINES;
    const unsigned Seed = static_cast<unsigned>(qEnvironmentVariableIntValue("BRASK_FUZZ_SEED"));
    struct {
        const char* sName;
        std::function<void()> Enter;
    } const aState[] = {
        {"idle", [] { StopSession(); }},
        {"halted", [] { StartSession(); }},
        {"running",
         [] {
             StartSession();
             Run("Debug.Continue()");
         }},
    };
    for (unsigned i = 0; i < std::size(aState); ++i) {
        SCOPED_TRACE(aState[i].sName);
        CLineMaker Lines(Seed * 3 + i, Path("."));
        const auto Enter = [&] { // lines have set the project up for other targets
            ASSERT_TRUE(StopSession());
            ASSERT_TRUE(OpenProject("demo.dbgprj", DemoProject()));
            aState[i].Enter();
            ASSERT_EQ(Device().IsConnected(), i > 0);
        };
        ASSERT_NO_FATAL_FAILURE(Enter());
        for (int n = 0; n < NumLines; ++n) {
            const QString sLine = Lines.Make();
            QElapsedTimer Timer;
            Timer.start();
            Run(sLine);
            QCoreApplication::processEvents();
            EXPECT_LT(Timer.elapsed(), MAX_LINE_MS) << sLine.toStdString();
            if (n % 50 == 49) {
                ASSERT_NO_FATAL_FAILURE(Enter());
            }
        }
    }
}
