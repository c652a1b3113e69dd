#include "device/Job.h"

#include "device/JobTable.h"

#include <cstdlib>
#include <cstring>

bool JobAttachBuf(Job* pJob, int Idx, const void* pSrc, U32 Size) {
    if (pJob->Type == JT_NONE || pJob->Type >= JT_LAST || Idx < 0 || Idx > 2 || pJob->Buf[Idx] ||
        Size > JOB_MAX_BUF_SIZE) {
        return false;
    }
    // calloc gives untouched zero pages for large blocks; a read of 250,000 bytes shouldn't be cleared twice.
    void* pBuf = std::calloc(size_t(Size) + 1, 1);
    if (!pBuf) {
        return false;
    }
    if (pSrc && Size) {
        std::memcpy(pBuf, pSrc, Size);
    }
    pJob->Buf[Idx] = pBuf;
    pJob->BufSize[Idx] = Size ? Size : 1;
    return true;
}

void JobFreeBufs(Job* pJob) {
    for (int i = 0; i < 3; i++) {
        if (pJob->BufSize[i]) {
            std::free(pJob->Buf[i]);
        }
        pJob->Buf[i] = nullptr;
        pJob->BufSize[i] = 0;
    }
}

bool IsValidJob(const Job& J) {
    const JOB_TYPE_ROW& Row = GetJobTypeRow(J.Type);
    return Row.pfRun && (!Row.NeedsBuf0 || J.Buf[0]);
}

bool JobTypeMatches(U32 Wanted, U32 Type) {
    if (Wanted == JT_ANY) {
        return Type != JT_NONE;
    }
    if (Wanted == JT_STEP_ANY) {
        return Type >= JT_STEP_INST && Type <= JT_STEP_OUT;
    }
    return Type == Wanted;
}

bool IsDataRead(U32 Type) {
    return Type == JT_READ_REG || Type == JT_READ_REGS || Type == JT_READ_MEM || Type == JT_READ_LOCATION ||
           Type == JT_READ_CP_REG;
}
