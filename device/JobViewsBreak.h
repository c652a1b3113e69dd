#pragma once

// Jobs of breakpoints and watchpoints.

#include "device/JobView.h"

PLAIN_JOB(CLEAR_ALL_BPS_JOB, JT_CLEAR_ALL_BPS, BPs.ClearAllBreakpoints, ClearAllBPs)
PLAIN_JOB(RESET_BPS_JOB, JT_RESET_BPS, BPs.ResetBreakpoints, ResetBPs)
PLAIN_JOB(CLEAR_ALL_WPS_JOB, JT_CLEAR_ALL_WPS, WPs.ClearAllWatchpoints, ClearAllWPs)

struct SET_BP_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_SET_BP;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, U32 Addr, BP_STATES State, BP_TYPES Type) {
        return P.Begin(TYPE_ID, {Addr, State, Type});
    }
    U32 Addr() const { return Word(0); }
    BP_STATES State() const { return BP_STATES(Word(1)); }
    BP_TYPES BPType() const { return BP_TYPES(Word(2)); }
    static int Run(CTarget& T, Job& J) {
        const SET_BP_JOB V(J);
        const int Result = T.BPs.SetBreakpoint(V.Addr(), V.State(), V.BPType());
        // What took the place of another and could not be set is listed as disabled; one too many isn't listed.
        if (V.State() != BP_STATE_OFF && T.BPs.GetEntry(V.Addr()).State != V.State()) {
            T.Queue.NoteFailed(J);
        }
        return Result;
    }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceSetBPDone(SET_BP_JOB(J).Addr()); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceSetBPFailed(SET_BP_JOB(J).Addr()); }
};

struct CLEAR_BP_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_CLEAR_BP;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, U32 Addr) { return P.Begin(TYPE_ID, {Addr}); }
    U32 Addr() const { return Word(0); }
    static int Run(CTarget& T, Job& J) { return T.BPs.ClearBreakpoint(CLEAR_BP_JOB(J).Addr()); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceClearBPDone(CLEAR_BP_JOB(J).Addr()); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceClearBPFailed(CLEAR_BP_JOB(J).Addr()); }
};

/// A list of addresses in Buf[0].
struct ADDRS_JOB : CJobView {
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    U32 NumAsked() const { return Word(0); }
    U32 Num() const { return Count<U32>(0, 0); }
    U32* Addrs() const { return Buf<U32>(0); }
};

struct SET_BPS_JOB : ADDRS_JOB {
    static constexpr U32 TYPE_ID = JT_SET_BPS;
    using ADDRS_JOB::ADDRS_JOB;
    static bool Pack(CPackedJob& P, const QList<U32>& Addrs, BP_STATES State, BP_TYPES Type) {
        return P.Begin(TYPE_ID, {U64(Addrs.size()), State, Type}) && P.Full(0, Addrs);
    }
    BP_STATES State() const { return BP_STATES(Word(1)); }
    BP_TYPES BPType() const { return BP_TYPES(Word(2)); }
    static int Run(CTarget& T, Job& J) {
        const SET_BPS_JOB V(J);
        return JobCountResult(T, J, T.BPs.SetBreakpoints(V.Num(), V.Addrs(), V.State(), V.BPType()), V.Num());
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceSetBPsDone(SET_BPS_JOB(J).NumAsked(), SET_BPS_JOB(J).Addrs());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceSetBPsFailed(SET_BPS_JOB(J).NumAsked(), SET_BPS_JOB(J).Addrs());
    }
};

struct CLEAR_BPS_JOB : ADDRS_JOB {
    static constexpr U32 TYPE_ID = JT_CLEAR_BPS;
    using ADDRS_JOB::ADDRS_JOB;
    static bool Pack(CPackedJob& P, const QList<U32>& Addrs) {
        return P.Begin(TYPE_ID, {U64(Addrs.size())}) && P.Full(0, Addrs);
    }
    static int Run(CTarget& T, Job& J) {
        const CLEAR_BPS_JOB V(J);
        return JobCountResult(T, J, T.BPs.ClearBreakpoints(V.Num(), V.Addrs()), V.Num());
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceClearBPsDone(CLEAR_BPS_JOB(J).NumAsked(), CLEAR_BPS_JOB(J).Addrs());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceClearBPsFailed(CLEAR_BPS_JOB(J).NumAsked(), CLEAR_BPS_JOB(J).Addrs());
    }
};

/// A list of watchpoints in Buf[0].
struct WPS_JOB : CJobView {
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    U32 NumAsked() const { return Word(0); }
    U32 Num() const { return Count<WP>(0, 0); }
    WP* List() const { return Buf<WP>(0); }
};

struct SET_WPS_JOB : WPS_JOB {
    static constexpr U32 TYPE_ID = JT_SET_WPS;
    using WPS_JOB::WPS_JOB;
    static bool Pack(CPackedJob& P, const QList<WP>& WPs) {
        return P.Begin(TYPE_ID, {U64(WPs.size())}) && P.Full(0, WPs);
    }
    static int Run(CTarget& T, Job& J) {
        const SET_WPS_JOB V(J);
        return JobCountResult(T, J, T.WPs.SetWatchpoints(V.Num(), V.List()), V.Num());
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceSetWPsDone(SET_WPS_JOB(J).NumAsked(), SET_WPS_JOB(J).List());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceSetWPsFailed(SET_WPS_JOB(J).NumAsked(), SET_WPS_JOB(J).List());
    }
};

struct CLEAR_WPS_JOB : WPS_JOB {
    static constexpr U32 TYPE_ID = JT_CLEAR_WPS;
    using WPS_JOB::WPS_JOB;
    static bool Pack(CPackedJob& P, const QList<WP>& WPs) {
        return P.Begin(TYPE_ID, {U64(WPs.size())}) && P.Full(0, WPs);
    }
    static int Run(CTarget& T, Job& J) {
        const CLEAR_WPS_JOB V(J);
        return JobCountResult(T, J, T.WPs.ClearWatchpoints(V.Num(), V.List()), V.Num());
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceClearWPsDone(CLEAR_WPS_JOB(J).NumAsked(), CLEAR_WPS_JOB(J).List());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceClearWPsFailed(CLEAR_WPS_JOB(J).NumAsked(), CLEAR_WPS_JOB(J).List());
    }
};
