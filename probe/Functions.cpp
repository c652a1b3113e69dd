// The optional entry points: background access and endianness queries, instruction decoder, disassembler, layout of a
// device.
#include "probe/DeviceTable.h"
#include "probe/Session.h"
#include "probe/arm/InstDecoder.h"
#include "probe/disasm/Disassembler.h"

using namespace Novik;

namespace {

int BackgroundMemAccess() {
    const CBackend* pTarget = CProbeSession::Get().Target();
    return !pTarget || pTarget->CanReadWhileRunning();
}

int GetEndian() { return CProbeSession::Get().Target() ? CProbeSession::Get().GetDevice().GetEndianBits() : -1; }

template <typename T> int GetEntry(T* pfEntry, void** ppOut) {
    if (!pfEntry || !ppOut) {
        return -1;
    }
    *ppOut = reinterpret_cast<void*>(pfEntry);
    return 0;
}

int GetDecoder(uint32_t Core, void** ppOut) { return GetEntry(Arm::GetDecoder(Arm::ArchOfCore(Core)), ppOut); }

int GetDisassembler(uint32_t Core, void** ppOut) {
    return GetEntry(Arm::GetDisassembler(Arm::ArchOfCore(Core)), ppOut);
}

void GetWebInfo(void* pInfo) {
    if (pInfo) {
        // No backend has a web interface: port 0 says that none is told.
        static_cast<NOVIK_WEB_INFO*>(pInfo)->Port = 0;
    }
}

int GetDeviceLayout(int32_t Index, NOVIK_DEVICE_LAYOUT* pLayout) {
    const auto& Devices = CDeviceTable::Get().GetDevices();
    if (!pLayout || pLayout->SizeOfStruct < sizeof(*pLayout) || Index < 1 || size_t(Index) >= Devices.size()) {
        return -1;
    }
    const CDeviceEntry& Device = *Devices[size_t(Index)];
    pLayout->NumBreakpoints = static_cast<uint32_t>(Device.Traits.NumBreakpoints);
    pLayout->NumRegions = 0;
    for (const CMemRange& Range : Device.Memories) {
        if (pLayout->NumRegions < NOVIK_MAX_MEM_REGIONS) {
            pLayout->aRegions[pLayout->NumRegions++] = {Range.Addr, Range.Size, Range.Kind == Sim::ERegion::Flash};
        }
    }
    return 0;
}

} // namespace

void* NOVIK_GetpFunc(uint32_t FuncId) {
    switch (FuncId) {
    case NOVIK_FUNC_BACKGROUND_MEM_ACCESS:
        return reinterpret_cast<void*>(&BackgroundMemAccess);
    case NOVIK_FUNC_GET_ENDIAN:
        return reinterpret_cast<void*>(&GetEndian);
    case NOVIK_FUNC_GET_DECODER:
        return reinterpret_cast<void*>(&GetDecoder);
    case NOVIK_FUNC_GET_DISASSEMBLER:
        return reinterpret_cast<void*>(&GetDisassembler);
    case NOVIK_FUNC_WEB_INFO:
        return reinterpret_cast<void*>(&GetWebInfo);
    case NOVIK_FUNC_DEVICE_LAYOUT:
        return reinterpret_cast<void*>(&GetDeviceLayout);
    default:
        return nullptr;
    }
}
