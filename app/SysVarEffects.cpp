#include "app/SysVarEffects.h"

#include "app/MainWindow.h"
#include "app/ProgramFile.h"
#include "app/Toolbars.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "device/TraceConfig.h"
#include "elf/ElfApi.h"
#include "settings/SysVars.h"

void ApplySysVar(CMainWindow& MainWindow, int Index, I32 Value) {
    switch (Index) {
    case VAR_RESET_MODE:
    case VAR_CONNECT_MODE:
        MainWindow.GetToolbars().UpdateModePanels();
        break;
    case VAR_TIF_SPEED:
        CDevice::Get().PostSetConfigParam(DEV_CFG_SPEED, Value);
        break;
    case VAR_BREAK_AT_THIS_SYMBOL:
        if (ElfApi_IsOpen() && !MainWindow.GetProgramFile().EvaluateBreakSymbol()) {
            CCommandTable::SetError(CMD_EDIT_SYS_VAR, QStringLiteral("unknown symbol"));
        }
        break;
    case VAR_TRACE_PORT_DELAY_0:
    case VAR_TRACE_PORT_DELAY_1:
    case VAR_TRACE_PORT_DELAY_2:
    case VAR_TRACE_PORT_DELAY_3:
        if (CDevice::Get().IsConnected()) {
            CDevice::Get().PostExecNovikCmd(
                TraceSampleAdjustCommand(SysVarValue(VAR_TRACE_PORT_WIDTH),
                                         {SysVarValue(VAR_TRACE_PORT_DELAY_0), SysVarValue(VAR_TRACE_PORT_DELAY_1),
                                          SysVarValue(VAR_TRACE_PORT_DELAY_2), SysVarValue(VAR_TRACE_PORT_DELAY_3)}));
        }
        break;
    case VAR_TRACE_PORT_WIDTH: {
        constexpr U32 MIN_VERSION = 61402;
        if (CDevice::Get().Facts().LibVersion < MIN_VERSION) {
            ConsolePrint(QStringLiteral("Configuration of the trace port width is not supported by this version of the "
                                        "Novik library. Please update to version 6.14b or later."));
            SetSysVar(GetSysVar(Index), *GetSysVar(Index)->pDefault, false);
        }
        break;
    }
    default:
        break;
    }
}
