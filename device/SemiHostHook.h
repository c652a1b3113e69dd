#pragma once

// What the halt sequence needs of semihosting. The service derives from this and enters itself with
// CDevice::SetSemiHost(); until then semihosting counts as off. All calls come from the device thread.

#include "base/Types.h"
#include "device/SharedValue.h"

class CSemiHostHook {
public:
    virtual ~CSemiHostHook() = default;
    virtual bool IsEnabled() const { return false; }
    /// Serves the request of a target that is halted on a trap at PC. Non-zero: the halt is to be treated as one that
    /// has nothing to do with semihosting. May clear AutoResume when the answer needs the user.
    virtual int HandleInterrupt(U32 /*PC*/) { return -1; }

    CSharedValue<U8> AutoResume{0}; ///< the target goes on after the request has been served
};
