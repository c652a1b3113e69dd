#include "script/EventFunctions.h"
#include "script/JScript.h"

// The text of a new project: a banner and a body for each event function but the last, BeforeTargetResume.

namespace {

constexpr int BANNER_WIDTH = 70;

/// Sets SP and PC from the program's vector table. %1: what comes first, %2: what is logged.
constexpr const char* SAMPLE_BODY = "  unsigned int SP;\n"
                                    "  unsigned int PC;\n"
                                    "  unsigned int VectorTableAddr;\n"
                                    "\n"
                                    "%1"
                                    "  VectorTableAddr = Elf.GetBaseAddr();\n"
                                    "\n"
                                    "  if (VectorTableAddr != 0xFFFFFFFF) {\n"
                                    "\n"
                                    "    Util.Log(\"%2\");\n"
                                    "\n"
                                    "    SP = Target.ReadU32(VectorTableAddr);\n"
                                    "    Target.SetReg(\"SP\", SP);\n"
                                    "\n"
                                    "    PC = Target.ReadU32(VectorTableAddr + 4);\n"
                                    "    Target.SetReg(\"PC\", PC);\n"
                                    "  }\n";

QString Padded(const QString& sText) { return sText.leftJustified(BANNER_WIDTH) + QLatin1Char('\n'); }

QString Star(const QString& sText = QString()) { return Padded(QLatin1Char('*') + sText); }

QString NotesOf(int Id) {
    if (Id == SF_TARGET_RESET) {
        return Padded(QStringLiteral("* Notes")) +
               Padded(QStringLiteral("*   This example demonstrates the usage when")) +
               Padded(QStringLiteral("*   debugging a RAM program on a Cortex-M target device")) + Star();
    }
    if (Id == SF_AFTER_TARGET_DOWNLOAD) {
        return Padded(QStringLiteral("* Notes")) +
               Padded(QStringLiteral("*   This sample implementation demonstrates the application")) +
               Padded(QStringLiteral("*   initialization on a Cortex-M target.")) +
               Padded(QStringLiteral("*   If no initialization can be done, Target.Reset() may be called.")) + Star();
    }
    return {};
}

QString Banner(const EVENT_FUNCTION& Function) {
    const bool IsSample = Function.Id == SF_TARGET_RESET || Function.Id == SF_AFTER_TARGET_DOWNLOAD;
    const QString sIndent(IsSample ? 6 : 7, QLatin1Char(' '));
    return QLatin1Char('/') + QString(BANNER_WIDTH - 1, QLatin1Char('*')) + QLatin1Char('\n') + Star() +
           Star(sIndent + ScriptGetFunctionName(Function.Id)) + Star() +
           Padded(QStringLiteral("* Function description")) +
           Star(QStringLiteral("   ") + QLatin1String(Function.sComment)) + Star() + NotesOf(Function.Id) +
           QString(BANNER_WIDTH, QLatin1Char('*')) + QLatin1Char('\n') + Padded(QStringLiteral("*/"));
}

QString ProjectLoadBody(const QStringList& Commands) {
    QString sText = QStringLiteral("void OnProjectLoad (void) {\n"
                                   "  //\n  // Dialog-generated settings\n  //\n");
    QString sFileOpen;
    for (const QString& sCommand : Commands) {
        if (!sCommand.contains(QLatin1String("File.Open"))) {
            sText += QStringLiteral("  ") + sCommand + QLatin1Char('\n');
        } else if (sFileOpen.isEmpty()) {
            sFileOpen = QStringLiteral("  ") + sCommand + QLatin1Char('\n');
        }
    }
    return sText + QStringLiteral("  //\n  // User settings\n  //\n") + sFileOpen + QStringLiteral("}\n");
}

QString OptionalBody(const EVENT_FUNCTION& Function) {
    QString sPrototype = QLatin1String(Function.sPrototype);
    sPrototype.chop(1);
    QString sText = sPrototype + QStringLiteral(" {\n");
    if (Function.sPrologue != nullptr) {
        sText +=
            QString::fromLatin1(SAMPLE_BODY).arg(QLatin1String(Function.sPrologue), QLatin1String(Function.sLogText));
    }
    QString sCommented;
    for (const QString& sLine : (sText + QStringLiteral("}")).split(QLatin1Char('\n'))) {
        sCommented += Padded(QStringLiteral("//") + sLine);
    }
    return sCommented;
}

} // namespace

QString ScriptBuildText(const QStringList& Commands) {
    QString sText = QStringLiteral("\n");
    for (int Id = SF_ON_PROJECT_LOAD; Id < SF_BEFORE_TARGET_RESUME; ++Id) {
        const EVENT_FUNCTION& Function = *GetEventFunction(Id);
        sText += Id > SF_ON_PROJECT_LOAD ? QStringLiteral("\n") : QString();
        sText += Banner(Function);
        sText += Id == SF_ON_PROJECT_LOAD ? ProjectLoadBody(Commands) : OptionalBody(Function);
    }
    return sText;
}
