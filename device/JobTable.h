#pragma once

// What is fixed for each job type: name, ring, default time-out of a wait, whether the first buffer is required, and
// the listener operations that report it.

#include "device/Job.h"

class CDeviceEventListener;

using JOB_DELIVERY = void(CDeviceEventListener& Listener, const Job& J);

struct JOB_TYPE_ROW {
    U32 Type;
    const char* sName;
    U8 Ring;
    U8 NeedsBuf0;
    U32 TimeoutMs;
    JOB_DELIVERY* pfDone; ///< null for types without an event
    JOB_DELIVERY* pfFailed;
};

/// Row of a type 0 to 67; any other gives row 0, "Unknown".
const JOB_TYPE_ROW& GetJobTypeRow(U32 Type);
const char* GetJobTypeName(U32 Type);
