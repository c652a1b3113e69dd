#pragma once

// Jobs of memory, downloads, data locations and disassembly.

#include "device/JobView.h"
#include "settings/SysVars.h"

#include <cstring>

constexpr U32 MAX_LOC_SIZE_OF_JOB = 8;
constexpr U32 MAX_DISASS_ADDRS = 1000;

/// Address range, end exclusive.
struct MEM_RANGE {
    U32 Start;
    U32 End;
};

/// How a memory job accesses: chunks, width and flags in the parameters 2 to 4.
struct MEM_JOB : CJobView {
    using CJobView::CJobView;
    static U64 WidthOf(U32 AccessWidth) {
        return AccessWidth >= MEM_ACCESS_WIDTH_DEFAULT ? U64(SysVarValue(VAR_ACCESS_WIDTH)) : AccessWidth;
    }
    U32 ChunkSize() const { return Word(2); }
    I8 AccessWidth() const { return I8(m_J.Param[3]); }
    U32 MemFlags() const { return Word(4); }
};

struct READ_MEM_JOB : MEM_JOB {
    static constexpr U32 TYPE_ID = JT_READ_MEM;
    using MEM_JOB::MEM_JOB;
    /// IsTold: an error line says why nothing could be read.
    static bool Pack(CPackedJob& P, U32 Addr, U32 NumBytes, U32 ChunkSize, U32 AccessWidth, U32 Flags,
                     bool IsProtected = false, bool IsTold = false) {
        return P.Begin(TYPE_ID, {Addr, NumBytes, ChunkSize, WidthOf(AccessWidth), Flags, IsTold}) &&
               P.Protect(IsProtected) && P.Buf(0, nullptr, NumBytes) && P.Buf(1, nullptr, NumBytes);
    }
    U32 Addr() const { return Word(0); }
    U32 NumBytes() const { return Word(1); }
    U8* Data() const { return Buf<U8>(0); }
    U8* Status() const { return Buf<U8>(1); }
    static int Run(CTarget& T, Job& J) {
        const READ_MEM_JOB V(J);
        if (!V.Data() || !V.Status()) {
            return -1;
        }
        const U32 NumBytes = std::min(V.Count<U8>(1, 0), V.Count<U8>(1, 1));
        std::memset(V.Status(), 1, NumBytes);
        const U32 NumRead =
            T.Memory.ReadMem(V.Addr(), NumBytes, V.ChunkSize(), V.AccessWidth(), V.MemFlags(), V.Data(), V.Status());
        if (NumRead == 0 && J.Param[5]) {
            T.Report.NoteRead(V.Addr(), NumBytes);
        }
        return NumRead ? 0 : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        const READ_MEM_JOB V(J);
        L.OnDeviceReadMemDone(V.Addr(), V.NumBytes(), V.Data(), V.Status());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceReadMemFailed(READ_MEM_JOB(J).Addr(), READ_MEM_JOB(J).NumBytes());
    }
};

struct WRITE_MEM_JOB : MEM_JOB {
    static constexpr U32 TYPE_ID = JT_WRITE_MEM;
    static constexpr U8 NEEDS_BUF = 1;
    using MEM_JOB::MEM_JOB;
    static bool Pack(CPackedJob& P, U32 Addr, const QByteArray& Data, U32 ChunkSize, U32 AccessWidth, U32 Flags) {
        return P.Begin(TYPE_ID, {Addr, U64(Data.size()), ChunkSize, WidthOf(AccessWidth), Flags}) && P.Full(0, Data);
    }
    U32 Addr() const { return Word(0); }
    U32 NumBytes() const { return Word(1); }
    U8* Data() const { return Buf<U8>(0); }
    static int Run(CTarget& T, Job& J) {
        const WRITE_MEM_JOB V(J);
        const U32 NumBytes = V.Count<U8>(1, 0);
        return T.Memory.WriteMem(V.Addr(), NumBytes, V.ChunkSize(), V.AccessWidth(), V.MemFlags(), V.Data()) == NumBytes
                   ? 0
                   : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        const WRITE_MEM_JOB V(J);
        L.OnDeviceWriteMemDone(V.Addr(), V.NumBytes(), V.Data());
    }
    static void Failed(LISTENER& L, const Job& J) {
        const WRITE_MEM_JOB V(J);
        L.OnDeviceWriteMemFailed(V.Addr(), V.NumBytes(), V.Data());
    }
};

struct WRITE_MEM_MULTIPLE_JOB : MEM_JOB {
    static constexpr U32 TYPE_ID = JT_WRITE_MEM_MULTIPLE;
    static constexpr U8 NEEDS_BUF = 1;
    using MEM_JOB::MEM_JOB;
    static bool Pack(CPackedJob& P, const QList<MEM_RANGE>& Ranges, const QByteArray& Data, U32 ChunkSize,
                     U32 AccessWidth, U32 Flags) {
        return P.Begin(TYPE_ID, {U64(Ranges.size()), U64(Data.size()), ChunkSize, WidthOf(AccessWidth), Flags}) &&
               P.Full(0, Ranges) && P.Buf(1, Data);
    }
    U32 NumAsked() const { return Word(0); }
    U32* Ranges() const { return Buf<U32>(0); }
    U8* Data() const { return Buf<U8>(1); }
    static int Run(CTarget& T, Job& J) {
        const WRITE_MEM_MULTIPLE_JOB V(J);
        const U32 NumBytes = V.Count<U8>(1, 1);
        const U32 NumWritten = T.Memory.WriteMemMultiple(V.Count<MEM_RANGE>(0, 0), V.Ranges(), NumBytes, V.Data(),
                                                         V.ChunkSize(), V.AccessWidth(), V.MemFlags());
        return NumWritten == NumBytes ? 0 : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        const WRITE_MEM_MULTIPLE_JOB V(J);
        L.OnDeviceWriteMemMultipleDone(V.NumAsked(), V.Ranges(), V.Data());
    }
    static void Failed(LISTENER& L, const Job& J) {
        const WRITE_MEM_MULTIPLE_JOB V(J);
        L.OnDeviceWriteMemMultipleFailed(V.NumAsked(), V.Ranges(), V.Data());
    }
};

struct END_DOWNLOAD_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_END_DOWNLOAD;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, bool DoHalt, const QByteArray& sFilePath) {
        return P.Begin(TYPE_ID, {DoHalt}) && P.Buf(0, sFilePath); // the path may be empty
    }
    const char* FilePath() const { return Buf<const char>(0); }
    static int Run(CTarget& T, Job& J) {
        J.Result[0] = T.Memory.EndDownload(J.Param[0] != 0);
        return J.Result[0] < 0 ? -1 : 0; // every failure of the library is a failed job, not a dropped one
    }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceEndDownloadDone(END_DOWNLOAD_JOB(J).FilePath()); }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceEndDownloadFailed(END_DOWNLOAD_JOB(J).FilePath(), int(J.Result[0]));
    }
};

/// A data location in Buf[0].
struct LOC_JOB : CJobView {
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    U32 NumBytes() const { return Word(0); }
    ELF_SYM_LOC Loc() const {
        ELF_SYM_LOC Loc;
        std::memcpy(&Loc, m_J.Buf[0], sizeof(Loc));
        return Loc;
    }
};

struct READ_LOCATION_JOB : LOC_JOB {
    static constexpr U32 TYPE_ID = JT_READ_LOCATION;
    static constexpr const char* REFUSAL = "ReadLoc: cannot read data locations of size > 8 bytes";
    using LOC_JOB::LOC_JOB;
    static bool Pack(CPackedJob& P, const ELF_SYM_LOC& Loc, U32 NumBytes) {
        return NumBytes <= MAX_LOC_SIZE_OF_JOB && P.Begin(TYPE_ID, {NumBytes}) && P.Buf(0, &Loc, sizeof(Loc));
    }
    static int Run(CTarget& T, Job& J) {
        U64 Data = 0;
        const int Result =
            T.Regs.ReadLoc(READ_LOCATION_JOB(J).Loc(), READ_LOCATION_JOB(J).NumBytes(), reinterpret_cast<U8*>(&Data));
        J.Result[0] = I64(Data);
        return Result;
    }
    static void Done(LISTENER& L, const Job& J) {
        U64 Data = U64(J.Result[0]);
        L.OnDeviceReadLocDone(READ_LOCATION_JOB(J).Loc(), READ_LOCATION_JOB(J).NumBytes(),
                              reinterpret_cast<U8*>(&Data));
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceReadLocFailed(READ_LOCATION_JOB(J).Loc(), READ_LOCATION_JOB(J).NumBytes());
    }
};

struct WRITE_LOCATION_JOB : LOC_JOB {
    static constexpr U32 TYPE_ID = JT_WRITE_LOCATION;
    using LOC_JOB::LOC_JOB;
    static bool Pack(CPackedJob& P, const ELF_SYM_LOC& Loc, const QByteArray& Data) {
        return Data.size() <= qsizetype(MAX_LOC_SIZE_OF_JOB) && P.Begin(TYPE_ID, {U64(Data.size())}) &&
               P.Buf(0, &Loc, sizeof(Loc)) && P.Buf(1, Data);
    }
    static int Run(CTarget& T, Job& J) {
        const WRITE_LOCATION_JOB V(J);
        return T.Regs.WriteLoc(V.Loc(), V.Count<U8>(0, 1), V.Buf<U8>(1));
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceWriteLocDone(WRITE_LOCATION_JOB(J).Loc(), WRITE_LOCATION_JOB(J).NumBytes());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceWriteLocFailed(WRITE_LOCATION_JOB(J).Loc(), WRITE_LOCATION_JOB(J).NumBytes());
    }
};

struct READ_LOCS_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_READ_LOCS;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QList<ELF_SYM_LOC>& Locs, U64 Tag) {
        return P.Begin(TYPE_ID, {U64(Locs.size()), Tag}) && P.Full(0, Locs) && P.Buf(1, QList<I64>(Locs.size(), -1));
    }
    U32 NumAsked() const { return Word(0); }
    U32 Num() const { return std::min(Count<ELF_SYM_LOC>(0, 0), Count<I64>(0, 1)); }
    U64 Tag() const { return m_J.Param[1]; }
    ELF_SYM_LOC* Locs() const { return Buf<ELF_SYM_LOC>(0); }
    I64* Values() const { return Buf<I64>(1); }
    static int Run(CTarget& T, Job& J) {
        const READ_LOCS_JOB V(J);
        return V.Num() ? JobCountResult(J, T.Regs.ReadLocs(V.Num(), V.Locs(), V.Values())) : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        const READ_LOCS_JOB V(J);
        L.OnDeviceReadLocsDone(V.NumAsked(), V.Locs(), V.Values(), V.Tag());
    }
    static void Failed(LISTENER& L, const Job& J) {
        const READ_LOCS_JOB V(J);
        L.OnDeviceReadLocsFailed(V.NumAsked(), V.Locs(), V.Tag());
    }
};

struct DISASS_INSTS_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_DISASS_INSTS;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QList<U32>& Addrs) {
        return P.Begin(TYPE_ID, {U64(Addrs.size())}) && P.Full(0, Addrs);
    }
    U32 NumAsked() const { return Word(0); }
    U32* Addrs() const { return Buf<U32>(0); }
    static int Run(CTarget& T, Job& J) {
        const DISASS_INSTS_JOB V(J);
        return T.Disass.DisassInsts(V.Count<U32>(0, 0), V.Addrs()) >= 0 ? 0 : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceDisassInstsDone(DISASS_INSTS_JOB(J).NumAsked(), DISASS_INSTS_JOB(J).Addrs());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceDisassInstsFailed(DISASS_INSTS_JOB(J).NumAsked(), DISASS_INSTS_JOB(J).Addrs());
    }
};

struct DISASS_ARANGE_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_DISASS_ARANGE;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, U32 Start, U32 End, bool IsProtected) {
        return P.Begin(TYPE_ID, {Start, End, MAX_DISASS_ADDRS}) && P.Protect(IsProtected) &&
               P.Buf(0, nullptr, MAX_DISASS_ADDRS * sizeof(U32));
    }
    U32 Start() const { return Word(0); }
    U32 End() const { return Word(1); }
    U32 MaxCount() const { return Word(2); }
    U32* Addrs() const { return Buf<U32>(0); }
    static int Run(CTarget& T, Job& J) {
        const DISASS_ARANGE_JOB V(J);
        return T.Disass.DisassArange(V.Start(), V.End(), V.MaxCount(), V.Addrs()) >= 0 ? 0 : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        const DISASS_ARANGE_JOB V(J);
        L.OnDeviceDisassArangeDone(V.Start(), V.End(), V.MaxCount(), V.Addrs());
    }
    static void Failed(LISTENER& L, const Job& J) {
        const DISASS_ARANGE_JOB V(J);
        L.OnDeviceDisassArangeFailed(V.Start(), V.End(), V.MaxCount(), V.Addrs());
    }
};

struct DISASS_ARANGES_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_DISASS_ARANGES;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QList<MEM_RANGE>& Ranges) {
        return P.Begin(TYPE_ID, {U64(Ranges.size())}) && P.Full(0, Ranges);
    }
    U32 NumAsked() const { return Word(0); }
    U32* Ranges() const { return Buf<U32>(0); }
    static int Run(CTarget& T, Job& J) {
        const DISASS_ARANGES_JOB V(J);
        return T.Disass.DisassAranges(V.Count<MEM_RANGE>(0, 0), V.Ranges()) >= 0 ? 0 : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceDisassArangesDone(DISASS_ARANGES_JOB(J).NumAsked(), DISASS_ARANGES_JOB(J).Ranges());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceDisassArangesFailed(DISASS_ARANGES_JOB(J).NumAsked(), DISASS_ARANGES_JOB(J).Ranges());
    }
};
