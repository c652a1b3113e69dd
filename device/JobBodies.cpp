#include "device/JobRunner.h"

#include "device/DeviceEvents.h"
#include "device/Target.h"

#include <algorithm>
#include <cstring>

namespace {

template <class T> T* BufOf(const Job& J, int Idx) { return static_cast<T*>(J.Buf[Idx]); }

// A count from a parameter, limited by what the buffer holds.
template <class T> U32 CountOf(const Job& J, int Idx) {
    return U32(std::min<U64>(J.Param[0], J.BufSize[Idx] / sizeof(T)));
}

// A list is done when it has been gone through; the count tells how much of it was good.
int CountResult(Job& J, I64 Count) {
    J.Result[0] = Count;
    return 0;
}

int RunSetConfigParam(CTarget& T, Job& J) {
    const auto Param = DEV_CONFIG_PARAMS(J.Param[0]);
    return J.Buf[0] ? T.Connection.SetConfigParam(Param, BufOf<const char>(J, 0))
                    : T.Connection.SetConfigParam(Param, int(J.Param[1]));
}

int RunReadMem(CTarget& T, Job& J) {
    if (!J.Buf[0] || !J.Buf[1]) {
        return -1;
    }
    const U32 NumBytes = U32(std::min<U64>({J.Param[1], J.BufSize[0], J.BufSize[1]}));
    std::memset(J.Buf[1], 1, NumBytes);
    const U32 NumRead = T.Memory.ReadMem(U32(J.Param[0]), NumBytes, U32(J.Param[2]), I8(J.Param[3]), U32(J.Param[4]),
                                         BufOf<U8>(J, 0), BufOf<U8>(J, 1));
    return NumRead ? 0 : -1;
}

int RunWriteMem(CTarget& T, Job& J) {
    const U32 NumBytes = U32(std::min<U64>(J.Param[1], J.BufSize[0]));
    const U32 NumWritten =
        T.Memory.WriteMem(U32(J.Param[0]), NumBytes, U32(J.Param[2]), I8(J.Param[3]), U32(J.Param[4]), BufOf<U8>(J, 0));
    return NumWritten == NumBytes ? 0 : -1;
}

int RunWriteMemMultiple(CTarget& T, Job& J) {
    const U32 Cnt = U32(std::min<U64>(J.Param[0], J.BufSize[0] / (2 * sizeof(U32))));
    const U32 NumBytes = U32(std::min<U64>(J.Param[1], J.BufSize[1]));
    const U32 NumWritten = T.Memory.WriteMemMultiple(Cnt, BufOf<U32>(J, 0), NumBytes, BufOf<U8>(J, 1), U32(J.Param[2]),
                                                     I8(J.Param[3]), U32(J.Param[4]));
    return NumWritten == NumBytes ? 0 : -1;
}

int RunEndDownload(CTarget& T, Job& J) {
    const int Result = T.Memory.EndDownload(J.Param[0] != 0);
    J.Result[0] = Result;
    // Every failure of the library is a failed job, not a dropped one.
    return Result < 0 ? -1 : 0;
}

int RunReadLoc(CTarget& T, Job& J) {
    U64 Data = 0;
    const int Result = T.Regs.ReadLoc(*BufOf<ELF_SYM_LOC>(J, 0), U32(J.Param[0]), reinterpret_cast<U8*>(&Data));
    J.Result[0] = I64(Data);
    return Result;
}

int RunReadLocs(CTarget& T, Job& J) {
    const U32 Cnt = std::min(CountOf<ELF_SYM_LOC>(J, 0), CountOf<I64>(J, 1));
    return T.Regs.ReadLocs(Cnt, BufOf<ELF_SYM_LOC>(J, 0), BufOf<I64>(J, 1)) > 0 ? 0 : -1;
}

int RunReadRegs(CTarget& T, Job& J) {
    return T.Regs.ReadRegs(std::min(CountOf<U32>(J, 0), CountOf<I64>(J, 1)), BufOf<U32>(J, 0), BufOf<I64>(J, 1));
}

int RunExecNovikCmd(CTarget& T, Job& J) {
    const int Result =
        T.Connection.ExecNovikCmd(BufOf<const char>(J, 0), J.Buf[1] ? J.BufSize[1] : 0, BufOf<char>(J, 1));
    J.Result[0] = Result;
    return Result == 0 ? 0 : -1;
}

int Positive(int Count) { return Count >= 0 ? 0 : -1; }

struct BODY_ROW {
    U32 Type;
    int (*pfRun)(CTarget& T, Job& J);
};

// Types without a row can be scheduled but not run.
const BODY_ROW _aBodies[] = {
    {JT_CONNECT, [](CTarget& T, Job& J) { return T.Connection.Connect(CONNECT_MODES(J.Param[0])); }},
    {JT_DISCONNECT, [](CTarget& T, Job&) { return T.Connection.Disconnect(); }},
    {JT_RESET, [](CTarget& T, Job& J) { return T.Run.Reset(RESET_MODES(J.Param[0])); }},
    {JT_HALT, [](CTarget& T, Job&) { return T.Run.Halt(); }},
    {JT_CONTINUE, [](CTarget& T, Job&) { return T.Run.Continue(); }},
    {JT_STEP_INST, [](CTarget& T, Job&) { return T.Stepper.StepInst(); }},
    {JT_STEP_INTO, [](CTarget& T, Job&) { return T.Stepper.StepInto(); }},
    {JT_STEP_OVER, [](CTarget& T, Job&) { return T.Stepper.StepOver(1); }},
    {JT_STEP_OUT, [](CTarget& T, Job&) { return T.Stepper.StepOut(); }},
    {JT_RUN_TO, [](CTarget& T, Job& J) { return T.Run.RunTo(U32(J.Param[0])); }},
    {JT_EXEC_NOVIK_CMD, RunExecNovikCmd},
    {JT_SET_BP,
     [](CTarget& T, Job& J) {
         return T.BPs.SetBreakpoint(U32(J.Param[0]), BP_STATES(J.Param[1]), BP_TYPES(J.Param[2]));
     }},
    {JT_SET_BPS,
     [](CTarget& T, Job& J) {
         return CountResult(J, T.BPs.SetBreakpoints(CountOf<U32>(J, 0), BufOf<U32>(J, 0), BP_STATES(J.Param[1]),
                                                    BP_TYPES(J.Param[2])));
     }},
    {JT_CLEAR_BP, [](CTarget& T, Job& J) { return T.BPs.ClearBreakpoint(U32(J.Param[0])); }},
    {JT_CLEAR_BPS,
     [](CTarget& T, Job& J) { return CountResult(J, T.BPs.ClearBreakpoints(CountOf<U32>(J, 0), BufOf<U32>(J, 0))); }},
    {JT_CLEAR_ALL_BPS, [](CTarget& T, Job&) { return T.BPs.ClearAllBreakpoints(); }},
    {JT_RESET_BPS, [](CTarget& T, Job&) { return T.BPs.ResetBreakpoints(); }},
    {JT_SET_WPS,
     [](CTarget& T, Job& J) { return CountResult(J, T.WPs.SetWatchpoints(CountOf<WP>(J, 0), BufOf<WP>(J, 0))); }},
    {JT_CLEAR_WPS,
     [](CTarget& T, Job& J) { return CountResult(J, T.WPs.ClearWatchpoints(CountOf<WP>(J, 0), BufOf<WP>(J, 0))); }},
    {JT_CLEAR_ALL_WPS, [](CTarget& T, Job&) { return T.WPs.ClearAllWatchpoints(); }},
    {JT_READ_REG, [](CTarget& T, Job& J) { return T.Regs.ReadReg(U32(J.Param[0]), &J.Result[0]); }},
    {JT_WRITE_REG, [](CTarget& T, Job& J) { return T.Regs.WriteReg(U32(J.Param[0]), I64(J.Param[1])); }},
    {JT_READ_CP_REG, [](CTarget& T, Job& J) { return T.Regs.ReadCPR(BufOf<ARM_CPR>(J, 0), &J.Result[0]); }},
    {JT_WRITE_CP_REG, [](CTarget& T, Job& J) { return T.Regs.WriteCPR(BufOf<ARM_CPR>(J, 0), U32(J.Param[0])); }},
    {JT_READ_REGS, RunReadRegs},
    {JT_END_DOWNLOAD, RunEndDownload},
    {JT_READ_MEM, RunReadMem},
    {JT_WRITE_MEM, RunWriteMem},
    {JT_WRITE_MEM_MULTIPLE, RunWriteMemMultiple},
    {JT_RESET_TARGET_EXEC_STATE, [](CTarget& T, Job&) { return T.Regs.ResetTargetExecState(); }},
    {JT_SET_TARGET_EXEC_STATE,
     [](CTarget& T, Job& J) { return T.Regs.SetTargetExecState(CountOf<I64>(J, 0), BufOf<I64>(J, 0)); }},
    {JT_READ_LOCATION, RunReadLoc},
    {JT_READ_LOCS, RunReadLocs},
    {JT_WRITE_LOCATION,
     [](CTarget& T, Job& J) {
         return T.Regs.WriteLoc(*BufOf<ELF_SYM_LOC>(J, 0), U32(std::min<U64>(J.Param[0], J.BufSize[1])),
                                BufOf<U8>(J, 1));
     }},
    {JT_DISASS_INSTS,
     [](CTarget& T, Job& J) { return Positive(T.Disass.DisassInsts(CountOf<U32>(J, 0), BufOf<U32>(J, 0))); }},
    {JT_DISASS_ARANGE,
     [](CTarget& T, Job& J) {
         return Positive(T.Disass.DisassArange(U32(J.Param[0]), U32(J.Param[1]), U32(J.Param[2]), BufOf<U32>(J, 0)));
     }},
    {JT_DISASS_ARANGES,
     [](CTarget& T, Job& J) {
         const U32 Cnt = U32(std::min<U64>(J.Param[0], J.BufSize[0] / (2 * sizeof(U32))));
         return Positive(T.Disass.DisassAranges(Cnt, BufOf<U32>(J, 0)));
     }},
    {JT_CONFIGURE, [](CTarget& T, Job& J) { return T.Connection.Configure(BufOf<const char>(J, 0)); }},
    {JT_SET_CONFIG_PARAM, RunSetConfigParam},
    {JT_GET_DEVICE_INFO,
     [](CTarget& T, Job& J) {
         return J.Buf[1] ? T.Info.GetDeviceInfo(BufOf<const char>(J, 0), J.BufSize[1], BufOf<char>(J, 1)) : -1;
     }},
};

} // namespace

int RunJobBody(CTarget& Target, Job& J) {
    const auto* pRow = std::find_if(std::begin(_aBodies), std::end(_aBodies),
                                    [&J](const BODY_ROW& Row) { return Row.Type == J.Type; });
    if (pRow == std::end(_aBodies)) {
        Target.Events.Log(DEV_LOG_WARN, "Scheduler encountered unknown job type %d", int(J.Type));
        return -1;
    }
    return pRow->pfRun(Target, J);
}
