#include "device/AccessReport.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"

#include <algorithm>
#include <span>

namespace {

constexpr qsizetype MAX_PROBLEMS = 20; ///< of one job; the rest is counted

struct OPERATION_ROW {
    U32 Type;
    const char* sText; ///< "could not ...:"
};

constexpr OPERATION_ROW aOperation[] = {
    {JT_RESET, "reset the target"},
    {JT_HALT, "halt the target"},
    {JT_CONTINUE, "resume the target"},
    {JT_STEP_INST, "step"},
    {JT_STEP_INTO, "step"},
    {JT_STEP_OVER, "step"},
    {JT_STEP_OUT, "step out of the function"},
    {JT_RUN_TO, "run to the address"},
    {JT_WRITE_REG, "write the register"},
    {JT_WRITE_CP_REG, "write the coprocessor register"},
    {JT_WRITE_MEM, "write memory"},
    {JT_WRITE_MEM_MULTIPLE, "write memory"},
    {JT_WRITE_LOCATION, "write the variable"},
    {JT_CLEAR_BP, "clear the breakpoint"},
    {JT_CLEAR_ALL_BPS, "clear all breakpoints"},
    {JT_CLEAR_ALL_WPS, "clear all data breakpoints"},
};

QByteArray Hex(U32 Value) { return "0x" + QByteArray::number(Value, 16).toUpper().rightJustified(8, '0'); }

QByteArray Bytes(U32 Count) { return QByteArray::number(Count) + (Count == 1 ? " byte" : " bytes"); }

QByteArray RangeText(const NOVIK_MEM_REGION& Region) {
    return (Region.IsFlash ? "flash " : "RAM ") + Hex(Region.Addr) + " - " + Hex(Region.Addr + (Region.Size - 1));
}

std::span<const NOVIK_MEM_REGION> RegionsOf(const NOVIK_DEVICE_LAYOUT& Layout) {
    return {Layout.aRegions, std::min<size_t>(Layout.NumRegions, NOVIK_MAX_MEM_REGIONS)};
}

const NOVIK_MEM_REGION* FindRegion(const NOVIK_DEVICE_LAYOUT& Layout, U32 Addr) {
    for (const NOVIK_MEM_REGION& Region : RegionsOf(Layout)) {
        if (Addr - Region.Addr < Region.Size) {
            return &Region;
        }
    }
    return nullptr;
}

} // namespace

QByteArray CAccessReport::WhyTarget() const {
    if (!m_T.State.Connected) {
        return "not connected";
    }
    m_T.Run.TestConnectionLost();
    if (m_T.State.ConnectionLost) {
        return "the connection is lost";
    }
    return "the target refused it";
}

QByteArray CAccessReport::ListMemories() const {
    QByteArrayList Texts;
    for (const NOVIK_MEM_REGION& Region : RegionsOf(m_T.Info.Layout())) {
        Texts += RangeText(Region);
    }
    return Texts.join(", ");
}

// The reason of an access that ended in front of Addr, NumBytes before its end.
QByteArray CAccessReport::WhyAccess(U32 Addr, U32 NumBytes, bool IsFlashClosed) const {
    QByteArray sTarget = WhyTarget();
    if (!m_T.State.Connected || m_T.State.ConnectionLost) {
        return sTarget;
    }
    if (U64(Addr) + NumBytes > 0x100000000) {
        return "outside address range";
    }
    if (!m_T.Facts.Core) {
        return sTarget;
    }
    const NOVIK_MEM_REGION* pRegion = FindRegion(m_T.Info.Layout(), Addr);
    if (!pRegion) {
        return "the device has no memory there (" + ListMemories() + ")";
    }
    if (pRegion->IsFlash && IsFlashClosed) {
        return "only a download writes " + RangeText(*pRegion);
    }
    return sTarget + " (" + RangeText(*pRegion) + ")";
}

QByteArray CAccessReport::WhyRegister() const {
    return m_T.State.Connected && !m_T.Run.IsTargetHalted() ? "program is running" : WhyTarget();
}

void CAccessReport::NoteWrite(U32 Addr, U32 NumBytes, U32 NumDone, bool IsDownload) {
    QByteArray sText = "could not write " + Bytes(NumBytes) + " at " + Hex(Addr);
    if (NumDone) {
        sText += " (" + QByteArray::number(NumDone) + " written)";
    }
    const bool IsCancelled = m_T.Queue.IsRunCancelled();
    m_Problems += sText + ": " +
                  (IsCancelled ? QByteArray("cancelled") : WhyAccess(Addr + NumDone, NumBytes - NumDone, !IsDownload));
}

void CAccessReport::NoteRead(U32 Addr, U32 NumBytes) {
    const bool IsClosed = m_T.State.Connected && !m_T.Memory.IsMemoryAccessible();
    m_Problems += "could not read " + Bytes(NumBytes) + " at " + Hex(Addr) + ": " +
                  (IsClosed ? QByteArray("program is running") : WhyAccess(Addr, NumBytes, false));
}

void CAccessReport::NoteRegister(U32 Idx, I64 Value) {
    m_Problems += "could not write " + Hex(U32(Value)) + " (4 bytes) to register " + QByteArray::number(Idx) + ": " +
                  WhyRegister();
}

void CAccessReport::NoteRegisterRead(U32 Idx) {
    m_Problems += "could not read register " + QByteArray::number(Idx) + " (4 bytes): " + WhyRegister();
}

void CAccessReport::NoteCancelled(U32 NumDone, U32 NumBytes) {
    m_Problems +=
        "cancelled: " + QByteArray::number(NumDone) + " of " + QByteArray::number(NumBytes) + " bytes are written";
}

void CAccessReport::PrintFailure(const Job& J) {
    const auto* pRow = std::find_if(std::begin(aOperation), std::end(aOperation),
                                    [&J](const OPERATION_ROW& Row) { return Row.Type == J.Type; });
    if (pRow != std::end(aOperation) || !m_Problems.isEmpty()) {
        PrintFailure(pRow != std::end(aOperation) ? pRow->sText : "access the target");
    }
}

void CAccessReport::PrintFailure(const char* sOperation) {
    if (m_Problems.isEmpty()) {
        m_T.Events.LogText(DEV_LOG_ERROR, QByteArray("could not ") + sOperation + ": " + WhyTarget());
    }
    for (const QByteArray& sProblem : m_Problems.first(std::min(m_Problems.size(), MAX_PROBLEMS))) {
        m_T.Events.LogText(DEV_LOG_ERROR, sProblem);
    }
    if (m_Problems.size() > MAX_PROBLEMS) {
        m_T.Events.Log(DEV_LOG_ERROR, "%d more accesses failed", int(m_Problems.size() - MAX_PROBLEMS));
    }
    Begin();
}

QByteArray CAccessReport::WhyBreakpoint(U32 Addr, BP_TYPES Type) const {
    QByteArray sTarget = WhyTarget();
    if (!m_T.State.Connected || m_T.State.ConnectionLost) {
        return sTarget;
    }
    const NOVIK_MEM_REGION* pRegion = FindRegion(m_T.Info.Layout(), Addr);
    const bool IsRam = pRegion && !pRegion->IsFlash;
    QByteArrayList Reasons;
    if (Type != BP_TYPE_SOFT) {
        const U32 NumUsed = m_T.BPs.CountComparators();
        const U32 NumAll = m_T.Info.Layout().NumBreakpoints;
        if (NumAll && NumUsed >= NumAll) {
            Reasons += "all " + QByteArray::number(NumAll) + " comparators of the device are in use";
        } else if (IsRam && Type == BP_TYPE_HARD) {
            Reasons += "the comparators may not reach RAM";
        }
    }
    if (Type != BP_TYPE_HARD && pRegion && pRegion->IsFlash) {
        Reasons += "a software breakpoint can't stand in flash";
    } else if (!pRegion && m_T.Facts.Core) {
        Reasons += "the device has no memory there (" + ListMemories() + ")";
    }
    return Reasons.isEmpty() ? sTarget : Reasons.join(", and ");
}

void CAccessReport::PrintBreakpoint(U32 Addr, BP_TYPES Type) {
    m_T.Events.LogText(DEV_LOG_ERROR, "could not set a breakpoint at " + Hex(Addr) + ": " + WhyBreakpoint(Addr, Type));
}
