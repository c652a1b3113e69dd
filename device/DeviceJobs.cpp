#include "device/DeviceJobs.h"

#include "device/JobQueue.h"
#include "device/JobTable.h"

int CDeviceJobs::PostJob(Job& J) {
    const int Result = m_Queue.Schedule(J);
    if (Result == JOB_RING_FULL) {
        m_Events.Log(DEV_LOG_WARN, "Job %s not scheduled. Queue is full.", GetJobTypeName(J.Type));
    } else if (Result == JOB_SCHEDULED) {
        m_Events.Log(DEV_LOG_DEBUG, "Job scheduled: %s", GetJobTypeName(J.Type));
    }
    return Result == JOB_SCHEDULED ? 0 : -1;
}
