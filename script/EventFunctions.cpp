#include "script/EventFunctions.h"

#include "script/JScript.h"

namespace {

constexpr const char* OPTIONAL = "Event handler routine. Optional.";

constexpr const char* BODY_TARGET_RESET =
    "  unsigned int SP;\n"
    "  unsigned int PC;\n"
    "  unsigned int VectorTableAddr;\n"
    "\n"
    "  Exec.Reset();\n"
    "\n"
    "  VectorTableAddr = Elf.GetBaseAddr();\n"
    "\n"
    "  if (VectorTableAddr != 0xFFFFFFFF) {\n"
    "\n"
    "    Util.Log(\"Resetting Program.\");\n"
    "\n"
    "    SP = Target.ReadU32(VectorTableAddr);\n"
    "    Target.SetReg(\"SP\", SP);\n"
    "\n"
    "    PC = Target.ReadU32(VectorTableAddr + 4);\n"
    "    Target.SetReg(\"PC\", PC);\n"
    "  }\n";

constexpr const char* BODY_AFTER_DOWNLOAD =
    "  unsigned int SP;\n"
    "  unsigned int PC;\n"
    "  unsigned int VectorTableAddr;\n"
    "\n"
    "  VectorTableAddr = Elf.GetBaseAddr();\n"
    "\n"
    "  if (VectorTableAddr != 0xFFFFFFFF) {\n"
    "\n"
    "    Util.Log(\"Initializing PC and SP.\");\n"
    "\n"
    "    SP = Target.ReadU32(VectorTableAddr);\n"
    "    Target.SetReg(\"SP\", SP);\n"
    "\n"
    "    PC = Target.ReadU32(VectorTableAddr + 4);\n"
    "    Target.SetReg(\"PC\", PC);\n"
    "  }\n";

constexpr EVENT_FUNCTION aFunction[] = {
    {SF_ON_PROJECT_LOAD, "void OnProjectLoad (void);", "Project load routine. Required.", nullptr},
    {SF_TARGET_RESET, "void TargetReset (void);", "Replaces the default target device reset routine. Optional.",
     BODY_TARGET_RESET},
    {SF_BEFORE_TARGET_RESET, "void BeforeTargetReset (void);", OPTIONAL, nullptr},
    {SF_AFTER_TARGET_RESET, "void AfterTargetReset (void);", OPTIONAL, nullptr},
    {SF_DEBUG_START, "void DebugStart (void);", "Replaces the default debug session startup routine. Optional.",
     nullptr},
    {SF_TARGET_CONNECT, "void TargetConnect (void);", "Replaces the default target IF connection routine. Optional.",
     nullptr},
    {SF_BEFORE_TARGET_CONNECT, "void BeforeTargetConnect (void);", OPTIONAL, nullptr},
    {SF_AFTER_TARGET_CONNECT, "void AfterTargetConnect (void);", OPTIONAL, nullptr},
    {SF_TARGET_DOWNLOAD, "void TargetDownload (void);", "Replaces the default program download routine. Optional.",
     nullptr},
    {SF_BEFORE_TARGET_DOWNLOAD, "void BeforeTargetDownload (void);", OPTIONAL, nullptr},
    {SF_AFTER_TARGET_DOWNLOAD, "void AfterTargetDownload (void);", "Event handler routine.", BODY_AFTER_DOWNLOAD},
    {SF_BEFORE_TARGET_DISCONNECT, "void BeforeTargetDisconnect (void);", OPTIONAL, nullptr},
    {SF_AFTER_TARGET_DISCONNECT, "void AfterTargetDisconnect (void);", OPTIONAL, nullptr},
    {SF_AFTER_TARGET_HALT, "void AfterTargetHalt (void);", OPTIONAL, nullptr},
    {SF_BEFORE_TARGET_RESUME, "void BeforeTargetResume (void);", OPTIONAL, nullptr},
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
