#pragma once

// Calls of the commands of frame, settings and projects, with what the console says of each.

struct LINE_CASE {
    const char* sCall;
    const char* sEcho;  ///< of a script, which hands numbers over in hexadecimal; null: nothing is echoed
    const char* sError; ///< null: none
};

constexpr const char* INVALID = "invalid parameter";

// clang-format off
const LINE_CASE aCommandCase[] = {
    // Edit
    {"Edit.Preference (PREF_TAB_SPACING, 9);", "Edit.Preference (0x22, 0x9);", INVALID},
    {"Edit.Preference (57, 1);", "Edit.Preference (0x39, 0x1);", "unknown preference"},
    {"Edit.Preference (PREF_MAX_SYMBOL_MEMBERS, 100000);", "Edit.Preference (0x30, 0x186A0);", nullptr},
    {"Edit.Preference (PREF_MAX_SYMBOL_MEMBERS, 100001);", "Edit.Preference (0x30, 0x186A1);", INVALID},
    {"Edit.SysVar (VAR_RESET_MODE, 3);", "Edit.SysVar (0x0, 0x3);", INVALID},
    {"Edit.SysVar (57, 3);", "Edit.SysVar (0x39, 0x3);", "unknown system variable"},
    {"Edit.SysVar (VAR_TIF_SPEED, FREQ_4_MHZ);", "Edit.SysVar (0x4, 0x3D0900);", nullptr},
    {"Edit.SysVar (VAR_TRACE_PORT_DELAY_0, -100000);", "Edit.SysVar (0x10, -100000);", nullptr},
    {"Edit.SysVar (VAR_HSS_SPEED, 3);", "Edit.SysVar (0xD, 0x3);", INVALID},
    {"Edit.Color (COLOR_PC_ACTIVE, \"#112233\");", "Edit.Color (0x8, \"#112233\");", nullptr},
    {"Edit.Color (COLOR_PC_ACTIVE, \"no color\");", "Edit.Color (0x8, \"no color\");", INVALID},
    {"Edit.Color (46, \"red\");", "Edit.Color (0x2E, \"red\");", "unknown color"},
    {"Edit.Font (FONT_CONSOLE, \"DejaVu Sans\");", "Edit.Font (0x8, \"DejaVu Sans\");", INVALID},
    {"Edit.Font (11, \"DejaVu Sans,  9pt,  Bold\");", "Edit.Font (0xB, \"DejaVu Sans,  9pt,  Bold\");", "unknown font"},
    {"Edit.Preferences();", "Edit.Preferences();", nullptr},
    {"Edit.SysVars();", "Edit.SysVars();", nullptr},
    {"Edit.NovikSettings();", "Edit.NovikSettings();", nullptr},
    {"Edit.TraceSettings();", "Edit.TraceSettings();", nullptr},
    // Project
    {"Project.SetDevice (\"No Such Device\");", "Project.SetDevice (\"No Such Device\");", INVALID},
    {"Project.SetDevice (\"Cortex-M4\");", "Project.SetDevice (\"Cortex-M4\");", nullptr},
    {"Project.SetHostIF (\"USB\", \"x\");", "Project.SetHostIF (\"USB\", \"x\");", "invalid number"},
    {"Project.SetHostIF (\"Serial\", \"\");", "Project.SetHostIF (\"Serial\", \"\");", "unknown host interface"},
    {"Project.SetTargetIF (\"UART\");", "Project.SetTargetIF (\"UART\");", "unknown target interface"},
    {"Project.SetTIFSpeed (\"fast\");", "Project.SetTIFSpeed (\"fast\");", INVALID},
    {"Project.SetTIFScanChain (1, 4);", "Project.SetJTAGConfig (0x1, 0x4);", nullptr},
    {"Project.SetBPType (1);", "Project.SetBPType (BP_TYPE_HARD);", nullptr},
    {"Project.SetBPType (7);", "Project.SetBPType (0x7);", INVALID},
    {"Project.SetTraceSource (\"Air\");", "Project.SetTraceSource (\"Air\");", INVALID},
    {"Project.SetTracePortWidth (3);", "Project.SetTracePortWidth (0x3);", INVALID},
    {"Project.SetTraceTiming (1, 2, 3, 400000);", "Project.SetTraceTiming (0x1, 0x2, 0x3, 0x61A80);", INVALID},
    {"Project.ConfigSWO (\"2 MHz\", \"x\");", "Project.ConfigSWO (\"2 MHz\", \"x\");", INVALID},
    // File
    {"File.Open (\"/no/such.elf\");", "File.Open (\"/no/such.elf\");", "file not found"},
    {"File.Open (\"/no/such.dbgprj\");", "File.Open (\"/no/such.dbgprj\");", "file not found"},
    {"File.Close (\"none.c\");", "File.Close (\"none.c\");", "file is not open"},
    {"File.SaveProjectAs (\"/no/such/place/p\");", "File.SaveProjectAs (\"/no/such/place/p\");", "invalid project filename"},
    {"File.NewProjectWizard();", "File.NewProjectWizard();", nullptr},
    // Window, tool bars, the rest
    {"Window.Show (\"Kitchen\");", "Window.Show (\"Kitchen\");", "unknown window"},
    {"Window.Close (\"Kitchen\");", "Window.Close (\"Kitchen\");", "unknown window"},
    {"Window.Clear (\"Kitchen\");", "Window.Clear (\"Kitchen\");", "unknown window"},
    {"Toolbar.Show (\"Bar\");", "Toolbar.Show (\"Bar\");", "unknown toolbar"},
    {"Help.Manual();", "Help.Manual();", nullptr},
    {"Util.Sleep (1);", "Util.Sleep (0x1);", nullptr},
    {"Debug.SetResetMode (RM_BREAK_AT_SYMBOL);", "Debug.SetResetMode (RM_BREAK_AT_SYMBOL);", nullptr},
    {"Debug.SetResetMode (9);", "Debug.SetResetMode (0x9);", INVALID},
    {"Debug.Stop();", "Debug.Stop();", "not connected"},
};
// clang-format on
