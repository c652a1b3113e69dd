#include "device/DeviceTypes.h"

#include <initializer_list>

namespace {

struct VALUE_TEXT {
    int Value;
    const char* sText;
};

const char* Find(std::initializer_list<VALUE_TEXT> Rows, int Value) {
    for (const VALUE_TEXT& Row : Rows) {
        if (Row.Value == Value) {
            return Row.sText;
        }
    }
    return "";
}

} // namespace

const char* GetConnectModeText(int Mode) {
    return Find({{CM_DOWNLOAD_RESET, "Download & Reset Program"},
                 {CM_ATTACH, "Attach to Running Program"},
                 {CM_ATTACH_HALT, "Attach & Halt Program"}},
                Mode);
}

const char* GetResetModeText(int Mode) {
    return Find({{RM_RESET_HALT, "Reset & Halt"},
                 {RM_BREAK_AT_SYMBOL, "Reset & Break At Symbol"},
                 {RM_RESET_AND_RUN, "Reset & Run"}},
                Mode);
}

const char* GetCpuModeText(int Mode) {
    return Find({{MODE_USR, "User Mode"},
                 {MODE_FIQ, "Fast Interrupt Mode"},
                 {MODE_IRQ, "Interrupt Mode"},
                 {MODE_SVC, "Supervisor Mode"},
                 {MODE_ABT, "Abort Mode"},
                 {MODE_UND, "Undefined Mode"},
                 {MODE_SYS, "System Mode"}},
                Mode);
}

const char* GetBPStateText(U32 State) {
    return Find({{BP_STATE_ON_HIDDEN, "Hidden"}, {BP_STATE_DISABLED, "Disabled"}}, int(State));
}

const char* GetBPTypeText(U32 Type) {
    return Find({{BP_TYPE_ANY, "Any"}, {BP_TYPE_HARD, "Hard"}, {BP_TYPE_SOFT, "Soft"}}, int(Type));
}

const char* GetBPImplText(U32 ImplFlags) {
    if (ImplFlags & 0x10) {
        return "Soft (Flash)";
    }
    if (ImplFlags & 0x02) {
        return "Soft (RAM)";
    }
    return (ImplFlags & 0x01) ? "Hard" : "Pending";
}

const char* GetDataEventErrorText(I32 ErrCode) {
    if (ErrCode >= 0) {
        return "";
    }
    static const VALUE_TEXT _aReasons[] = {
        {0x01, "no more events"},
        {0x02, "no more address comparision units"},
        {0x04, "no more data comparision units"},
        {0x20, "address mask invalid or not supported by target device"},
        {0x80, "access mask invalid or not supported by target device"},
        {0x40, "value mask invalid or not supported by target device"},
    };
    for (const VALUE_TEXT& Row : _aReasons) {
        if (ErrCode & Row.Value) {
            return Row.sText;
        }
    }
    return "unknown error";
}
