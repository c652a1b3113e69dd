#pragma once

// A job: one request to the target, a plain record in a ring. Any thread builds one on its stack and schedules it;
// the device thread runs it; the main thread reads its results while it delivers the event. While it lies in a ring,
// Flags belong to the queue and its lock.

#include "base/Types.h"

/// Numbers are fixed; those between them are kept for jobs to come.
enum JOB_TYPES : U32 {
    JT_NONE,
    JT_CONNECT,
    JT_DISCONNECT,
    JT_RESET,
    JT_HALT,
    JT_CONTINUE,
    JT_STEP_INST,
    JT_STEP_INTO,
    JT_STEP_OVER,
    JT_STEP_OUT,
    JT_STEP_ANY, ///< wildcard for the four steps; never scheduled
    JT_RUN_TO,
    JT_EXEC_NOVIK_CMD,
    JT_SET_BP = 14,
    JT_SET_BPS,
    JT_CLEAR_BP,
    JT_CLEAR_BPS,
    JT_CLEAR_ALL_BPS,
    JT_RESET_BPS,
    JT_SET_WPS,
    JT_CLEAR_WPS,
    JT_CLEAR_ALL_WPS,
    JT_READ_REG,
    JT_WRITE_REG,
    JT_READ_CP_REG,
    JT_WRITE_CP_REG,
    JT_READ_REGS,
    JT_END_DOWNLOAD,
    JT_READ_MEM,
    JT_WRITE_MEM,
    JT_WRITE_MEM_MULTIPLE,
    JT_RESET_TARGET_EXEC_STATE = 34,
    JT_SET_TARGET_EXEC_STATE,
    JT_READ_LOCATION,
    JT_READ_LOCS,
    JT_WRITE_LOCATION,
    JT_DISASS_INSTS = 40,
    JT_DISASS_ARANGE,
    JT_DISASS_ARANGES,
    JT_CONFIGURE = 62,
    JT_SET_CONFIG_PARAM,
    JT_GET_DEVICE_INFO,
    JT_ANY = 66, ///< wildcard for every type; never scheduled
    JT_LAST,
};

constexpr U32 JOB_FLAG_PENDING = 1;   ///< in a ring and neither finished nor cancelled
constexpr U32 JOB_FLAG_PROTECTED = 2; ///< not cancelled by the cancel rules

constexpr U32 JOB_STATUS_DONE = 0;
constexpr U32 JOB_STATUS_FAILED = 1;
constexpr U32 JOB_STATUS_DROPPED = 2; ///< nothing is reported

constexpr U32 JOB_MAX_BUF_SIZE = 1000000000;

struct Job {
    U32 Type = JT_NONE; ///< JT_NONE: the slot is free
    U32 Queue = 0;      ///< ring that holds the record
    U64 SeqNo = 0;
    U32 Status = JOB_STATUS_DONE;
    U32 Flags = 0;
    I64 Result[3] = {};  ///< what the run gives back, by type
    U64 Param[6] = {};   ///< arguments, by type
    void* Buf[3] = {};   ///< heap blocks, zero-terminated behind their size
    U32 BufSize[3] = {}; ///< 0 for a block that the job doesn't own
};

using DEVICE_JOB = Job;

/// Gives the job a zeroed block of Size + 1 bytes in buffer slot Idx (0 to 2), with pSrc copied in if it isn't null.
/// False, and nothing changed, for an invalid type or slot, a slot that is filled, a size above JOB_MAX_BUF_SIZE or
/// memory that can't be had.
bool JobAttachBuf(Job* pJob, int Idx, const void* pSrc, U32 Size);

/// Frees the blocks that the job owns.
void JobFreeBufs(Job* pJob);

/// True if the record is one that can be scheduled and run: its type has a body and a required Buf[0] is there.
bool IsValidJob(const Job& J);

/// True if a query or cancellation for `Wanted` (a type or a wildcard) means a job of `Type`.
bool JobTypeMatches(U32 Wanted, U32 Type);

/// True for the reads that the data provider alone is told of, also when they were cancelled: windows hear of the data
/// from it.
bool IsDataRead(U32 Type);
