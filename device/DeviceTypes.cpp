#include "device/DeviceTypes.h"

namespace {

struct VALUE_TEXT {
    int Value;
    const char* sText;
};

} // namespace

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
