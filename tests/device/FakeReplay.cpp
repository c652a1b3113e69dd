// The declared target of the scripted probe: its memories and its recording.
#include "tests/device/FakeProbe.h"

#include <algorithm>

namespace {

// Recordings hold words; a watchpoint of no value on the written address stops.
bool IsHit(const FAKE_WP& WP, const FAKE_STATE& State) {
    const NOVIKARM_DATA_EVENT& Event = WP.Event;
    const bool Writes = (Event.Access & NOVIK_ACCESS_WRITE) || (Event.AccessMask & NOVIK_ACCESS_MASK_DIR);
    const bool SameAddr = ((Event.Addr ^ State.WriteAddr) & ~Event.AddrMask) == 0;
    const bool SameData = ((Event.Data ^ State.WriteValue) & ~Event.DataMask) == 0;
    return State.WriteSize && Writes && SameAddr && SameData;
}

} // namespace

U32 CFakeProbe::Write(U32 Addr, const QByteArray& Bytes) {
    if (!IsConnected) {
        return 0;
    }
    U32 Count = 0;
    for (; Count < U32(Bytes.size()); Count++) {
        const U32 At = Addr + Count;
        const auto Region =
            std::find_if(Regions.begin(), Regions.end(), [At](const FAKE_REGION& R) { return At - R.Addr < R.Size; });
        if (!Regions.isEmpty() && (Region == Regions.end() || (Region->IsFlash && !IsDownloading))) {
            break;
        }
        const bool HoldsBack = !Regions.isEmpty() && Region->IsFlash;
        (HoldsBack ? HeldBack : Mem)[At] = U8(Bytes[qsizetype(Count)]);
    }
    return Count;
}

void CFakeProbe::ReplayFrom(U32 NewPosition) {
    Position = NewPosition;
    const FAKE_STATE& State = Recording[qsizetype(Position)];
    for (auto It = State.Regs.begin(); It != State.Regs.end(); ++It) {
        Regs[It.key()] = It.value();
    }
}

bool CFakeProbe::ReplayStep() {
    if (qsizetype(Position) + 1 >= Recording.size()) {
        return false;
    }
    const FAKE_STATE& State = Recording[qsizetype(Position)];
    for (U32 Byte = 0; Byte < State.WriteSize; Byte++) {
        Mem[State.WriteAddr + Byte] = U8(State.WriteValue >> (8 * Byte));
    }
    ReplayFrom(Position + 1);
    return true;
}

void CFakeProbe::ReplayRun() {
    for (;;) {
        const FAKE_STATE State = Recording[qsizetype(Position)];
        if (!ReplayStep()) {
            return;
        }
        const U32 PC = Regs[NOVIK_REG_PC];
        const bool AtBP = std::any_of(BPs.begin(), BPs.end(), [PC](const FAKE_BP& BP) { return BP.Addr == PC; });
        const bool AtWP = std::any_of(WPs.begin(), WPs.end(), [&](const FAKE_WP& WP) { return IsHit(WP, State); });
        if (AtBP || AtWP) {
            HaltStatus = 1;
            return;
        }
    }
}
