#pragma once

// Why the target refused something, in words for the user: address, size and reason. The bodies of jobs note what was
// refused; a job that failed prints it. Device thread.

#include "device/DeviceTypes.h"

#include <QByteArrayList>

class CTarget;
struct Job;

class CAccessReport {
public:
    explicit CAccessReport(CTarget& Target) : m_T(Target) {}

    /// Forgets what was noted; before each job.
    void Begin() { m_Problems.clear(); }
    /// NumDone of NumBytes were written.
    void NoteWrite(U32 Addr, U32 NumBytes, U32 NumDone, bool IsDownload);
    /// None of NumBytes could be read.
    void NoteRead(U32 Addr, U32 NumBytes);
    void NoteRegister(U32 Idx, I64 Value);
    void NoteRegisterRead(U32 Idx);
    void NoteCancelled(U32 NumDone, U32 NumBytes);
    const QByteArrayList& Problems() const { return m_Problems; }

    /// One error line for each thing noted, or one for the job's operation if nothing was; nothing more for a job that
    /// changes nothing in the target or whose failure is told elsewhere.
    void PrintFailure(const Job& J);
    /// The same for an operation that is no job.
    void PrintFailure(const char* sOperation);
    /// A sentence on a breakpoint that could not be set, as an error line.
    void PrintBreakpoint(U32 Addr, BP_TYPES Type);

private:
    QByteArray WhyTarget() const;
    QByteArray WhyAccess(U32 Addr, U32 NumBytes, bool IsFlashClosed) const;
    QByteArray WhyRegister() const;
    QByteArray WhyBreakpoint(U32 Addr, BP_TYPES Type) const;
    QByteArray ListMemories() const;

    CTarget& m_T;
    QByteArrayList m_Problems;
};
