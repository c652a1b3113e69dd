#include "app/MainWindow.h"
#include "app/ProjectSettings.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "app/SysVarEffects.h"
#include "app/dialogs/NovikSettingsDialog.h"
#include "app/dialogs/PreferencesDialog.h"
#include "app/dialogs/SysVarsEditor.h"
#include "app/dialogs/TraceSettingsDialog.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

// Edit.*

namespace {

/// Value of a numeric row. False with "invalid parameter".
bool ReadValue(COMMAND_ID Id, const SYS_VAR* pVar, I32* pValue) {
    bool Ok = false;
    const QString sText = GetCommandArg(Id, 1);
    *pValue = ParseSysVar(pVar, sText, &Ok);
    const TEXT_ROW* pRow = Ok ? nullptr : FindTextRow(sText); // a script's constant, typed into the console
    if (pRow != nullptr) {
        *pValue = ParseSysVar(pVar, QString::number(pRow->Value), &Ok);
    }
    if (!Ok) {
        FailCommand(Id, "invalid parameter");
    }
    return Ok;
}

void EditSysVar(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_EDIT_SYS_VAR;
    constexpr int NUM_VARS_WITH_SLOT = 20;
    const SYS_VAR* pVar = FindSysVar(GetCommandArg(Id, 0));
    if (pVar == nullptr) {
        FailCommand(Id, "unknown system variable");
        return;
    }
    I32 Value = 0;
    if (IsTextSysVar(pVar)) {
        SetSysVarText(pVar, GetCommandArg(Id, 1));
    } else if (ReadValue(Id, pVar, &Value)) {
        SetSysVar(pVar, Value, false);
    } else {
        return;
    }
    CCommandTable::SetResult(Id, 0);
    if (SysVarIndex(pVar) < NUM_VARS_WITH_SLOT) {
        ApplySysVar(MainWindow, SysVarIndex(pVar), Value);
    }
}

void EditPreference(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_EDIT_PREFERENCE;
    const SYS_VAR* pVar = FindSysVar(GetCommandArg(Id, 0));
    if (pVar == nullptr) {
        FailCommand(Id, "unknown preference");
        return;
    }
    I32 Value = 0;
    if (ReadValue(Id, pVar, &Value)) {
        SetSysVar(pVar, Value, true);
        MainWindow.OnUserPreferenceChanged(SysVarIndex(pVar), Value);
    }
}

void EditColor(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_EDIT_COLOR;
    const int ColorId = FindColor(GetCommandArg(Id, 0));
    U32 Argb = 0;
    if (ColorId < 0) {
        FailCommand(Id, "unknown color");
    } else if (!ParseColor(GetCommandArg(Id, 1), &Argb)) {
        FailCommand(Id, "invalid parameter");
    } else {
        SetColorValue(ColorId, Argb);
        MainWindow.OnColorChanged(ColorId);
    }
}

void EditFont(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_EDIT_FONT;
    const int FontId = FindFont(GetCommandArg(Id, 0));
    QFont Font;
    if (FontId < 0) {
        FailCommand(Id, "unknown font");
    } else if (!ParseFont(GetCommandArg(Id, 1), &Font)) {
        FailCommand(Id, "invalid parameter");
    } else {
        SetFont(FontId, Font, false);
        MainWindow.OnFontChanged(FontId);
    }
}

void EditPreferences(CMainWindow& MainWindow) {
    CPreferencesDialog Dialog(&MainWindow);
    if (Dialog.exec() == QDialog::Accepted && Dialog.HasChangedFont()) {
        MainWindow.OnAllFontsChanged();
    }
}

void EditSysVars(CMainWindow& MainWindow) { CSysVarsEditor(&MainWindow).exec(); }

void EditNovikSettings(CMainWindow& MainWindow) {
    CNovikSettingsDialog Dialog(&MainWindow);
    if (Dialog.exec() == QDialog::Accepted) {
        SaveSettingsToProject(QStringLiteral("Novik Settings Modified"), Dialog.Apply(), false);
    }
}

void EditTraceSettings(CMainWindow& MainWindow) {
    CTraceSettingsDialog Dialog(&MainWindow);
    if (Dialog.exec() == QDialog::Accepted) {
        SaveSettingsToProject(QStringLiteral("Trace Settings Modified"), Dialog.Apply(), true);
    }
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_EDIT_NOVIK_SETTINGS, EditNovikSettings, NEEDS_SCREEN},
    {CMD_EDIT_TRACE_SETTINGS, EditTraceSettings, NEEDS_SCREEN},
    {CMD_EDIT_PREFERENCES, EditPreferences, NEEDS_SCREEN},
    {CMD_EDIT_SYS_VARS, EditSysVars, NEEDS_SCREEN},
    {CMD_EDIT_SYS_VAR, EditSysVar},
    {CMD_EDIT_PREFERENCE, EditPreference},
    {CMD_EDIT_COLOR, EditColor},
    {CMD_EDIT_FONT, EditFont},
};

} // namespace

std::span<const ACTION_SLOT> GetEditSlots() { return aSlot; }
