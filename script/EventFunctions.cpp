#include "script/EventFunctions.h"

#include "script/JScript.h"

namespace {

constexpr const char* OPTIONAL = "Event handler routine. Optional.";

constexpr EVENT_FUNCTION aFunction[] = {
    {SF_ON_PROJECT_LOAD, "void OnProjectLoad (void);", "Project load routine. Required.", nullptr, nullptr},
    {SF_TARGET_RESET, "void TargetReset (void);", "Replaces the default target device reset routine. Optional.",
     "  Exec.Reset();\n\n", "Resetting Program."},
    {SF_BEFORE_TARGET_RESET, "void BeforeTargetReset (void);", OPTIONAL, nullptr, nullptr},
    {SF_AFTER_TARGET_RESET, "void AfterTargetReset (void);", OPTIONAL, nullptr, nullptr},
    {SF_DEBUG_START, "void DebugStart (void);", "Replaces the default debug session startup routine. Optional.",
     nullptr, nullptr},
    {SF_TARGET_CONNECT, "void TargetConnect (void);", "Replaces the default target IF connection routine. Optional.",
     nullptr, nullptr},
    {SF_BEFORE_TARGET_CONNECT, "void BeforeTargetConnect (void);", OPTIONAL, nullptr, nullptr},
    {SF_AFTER_TARGET_CONNECT, "void AfterTargetConnect (void);", OPTIONAL, nullptr, nullptr},
    {SF_TARGET_DOWNLOAD, "void TargetDownload (void);", "Replaces the default program download routine. Optional.",
     nullptr, nullptr},
    {SF_BEFORE_TARGET_DOWNLOAD, "void BeforeTargetDownload (void);", OPTIONAL, nullptr, nullptr},
    {SF_AFTER_TARGET_DOWNLOAD, "void AfterTargetDownload (void);", "Event handler routine.", "",
     "Initializing PC and SP."},
    {SF_BEFORE_TARGET_DISCONNECT, "void BeforeTargetDisconnect (void);", OPTIONAL, nullptr, nullptr},
    {SF_AFTER_TARGET_DISCONNECT, "void AfterTargetDisconnect (void);", OPTIONAL, nullptr, nullptr},
    {SF_AFTER_TARGET_HALT, "void AfterTargetHalt (void);", OPTIONAL, nullptr, nullptr},
    {SF_BEFORE_TARGET_RESUME, "void BeforeTargetResume (void);", OPTIONAL, nullptr, nullptr},
};

} // namespace

const EVENT_FUNCTION* GetEventFunction(int Id) {
    for (const EVENT_FUNCTION& Function : aFunction) {
        if (Function.Id == Id) {
            return &Function;
        }
    }
    return nullptr;
}
