#pragma once

// What is fixed for each job type: name, ring, default time-out of a wait, and from its view (JobView.h) whether the
// first buffer is required, the body and the listener operations that report it.

#include "device/Job.h"

class CDeviceEventListener;
class CTarget;

using JOB_BODY = int(CTarget& Target, Job& J);
using JOB_DELIVERY = void(CDeviceEventListener& Listener, const Job& J);

struct JOB_TYPE_ROW {
    U32 Type = JT_NONE;
    const char* sName = "";
    U8 Ring = 0;
    U8 NeedsBuf0 = 0;
    U32 TimeoutMs = 0;
    JOB_BODY* pfRun = nullptr; ///< null for what is no job; so are the next two
    JOB_DELIVERY* pfDone = nullptr;
    JOB_DELIVERY* pfFailed = nullptr;
};

/// Row of a type 0 to 67; any other gives row 0, "Unknown".
const JOB_TYPE_ROW& GetJobTypeRow(U32 Type);
const char* GetJobTypeName(U32 Type);
