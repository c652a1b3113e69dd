#include "device/DeviceEventListener.h"

#include "device/Device.h"
#include "device/DeviceDataProvider.h"
#include "device/JobTable.h"

#include <algorithm>
#include <vector>

namespace {

// All listeners in order of construction. While somebody walks the list a listener that goes away leaves a null
// behind; the last walk closes the gaps.
struct LISTENER_LIST {
    std::vector<CDeviceEventListener*> aListeners;
    int NumWalks = 0;
    bool HasGaps = false;
};

LISTENER_LIST& GetList() {
    static LISTENER_LIST List;
    return List;
}

bool IsTargetWrite(U32 Type) {
    switch (Type) {
    case JT_WRITE_REG:
    case JT_WRITE_CP_REG:
    case JT_WRITE_MEM:
    case JT_WRITE_MEM_MULTIPLE:
    case JT_WRITE_LOCATION:
        return true;
    default:
        return false;
    }
}

} // namespace

CDeviceEventListener::CDeviceEventListener() { GetList().aListeners.push_back(this); }

CDeviceEventListener::~CDeviceEventListener() {
    CDeviceDataProvider::ForgetListener(this);
    LISTENER_LIST& List = GetList();
    const auto It = std::find(List.aListeners.begin(), List.aListeners.end(), this);
    if (List.NumWalks) {
        *It = nullptr;
        List.HasGaps = true;
    } else {
        List.aListeners.erase(It);
    }
}

void CDeviceEventListener::Lock() { GetList().NumWalks++; }

void CDeviceEventListener::Unlock() {
    LISTENER_LIST& List = GetList();
    if (--List.NumWalks == 0 && List.HasGaps) {
        std::erase(List.aListeners, nullptr);
        List.HasGaps = false;
    }
}

int CDeviceEventListener::Count() { return int(GetList().aListeners.size()); }

CDeviceEventListener* CDeviceEventListener::At(int Index) { return GetList().aListeners[size_t(Index)]; }

void CDeviceEventListener::OnDeviceJobDone(Job* pJob) {
    if (pJob->Status == JOB_STATUS_DROPPED) {
        return;
    }
    const CDevice& Device = CDevice::Current();
    const JOB_TYPE_ROW& Row = GetJobTypeRow(pJob->Type);
    const bool IsDone = pJob->Status == JOB_STATUS_DONE;
    if (IsDone && IsTargetWrite(pJob->Type) && Device.IsSessionReady()) {
        OnDeviceWriteAccess();
    }
    if (JOB_DELIVERY* pfDeliver = IsDone ? Row.pfDone : Row.pfFailed) {
        pfDeliver(*this, *pJob);
    }
    switch (pJob->Type) {
    case JT_RESET:
        OnDeviceHaltDone(U32(pJob->Result[0]), HR_USER);
        break;
    case JT_STEP_INST:
    case JT_STEP_INTO:
    case JT_STEP_OVER:
    case JT_STEP_OUT:
        OnDeviceStepped(U32(pJob->Result[0]));
        break;
    case JT_SET_BP:
    case JT_SET_BPS:
    case JT_CLEAR_BP:
    case JT_CLEAR_BPS:
    case JT_CLEAR_ALL_BPS:
        OnDeviceBPStateChanged();
        break;
    case JT_SET_WPS:
    case JT_CLEAR_WPS:
    case JT_CLEAR_ALL_WPS:
        OnDeviceWPStateChanged();
        break;
    case JT_SET_TARGET_EXEC_STATE:
        OnDeviceResetDone(U32(Device.GetPC()), RM_STATE_RESTORED);
        break;
    case JT_WRITE_REG:
        if (const WRITE_REG_JOB Write(*pJob); IsDone && I32(Write.Idx()) == Device.GetNovikRegIdx(REG_IDX_PC)) {
            OnDeviceHaltDone(U32(Write.Value()), HR_INIT);
        }
        break;
    default:
        break;
    }
}
