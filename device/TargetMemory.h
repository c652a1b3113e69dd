#pragma once

// Memory access: one fast attempt for a whole range, then chunks, then single items, with a status byte for each data
// byte that says what was really read (0) and what was not (1). Results are byte counts. The data of an access of 2, 4
// or 8 aligned bytes is one number in the byte order of this machine; all other data lies as in the target's memory. A
// transfer that is cancelled ends behind the chunk or item under way. Device thread.

#include "device/DeviceTypes.h"

class CTarget;

class CTargetMemory {
public:
    explicit CTargetMemory(CTarget& Target) : m_T(Target) {}

    U32 ReadMem(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, U8* paData, U8* paStatus);
    U32 ReadMemSimple(U32 Addr, U32 NumBytes, I8 AccessWidth, U32 Flags, U8* paData, U8* paStatus);
    U32 ReadMemItemWise(U32 Addr, U32 NumBytes, I8 AW, U32 Flags, U8* pData, U8* paStatus);
    U32 ReadMemChunkWise(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, U8* pData, U8* paStatus);

    U32 WriteMem(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, const U8* paData);
    U32 WriteMemSimple(U32 Addr, U32 NumBytes, I8 AW, const U8* paData);
    U32 WriteMemItemWise(U32 Addr, U32 NumBytes, I8 AW, const U8* paData);
    U32 WriteMemChunkWise(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, const U8* paData);
    /// paAddrRanges: Cnt pairs of start and end; paData: the data of all ranges, NumBytes in all.
    U32 WriteMemMultiple(U32 Cnt, const U32* paAddrRanges, U32 NumBytes, const U8* paData, U32 ChunkSize, I8 AW,
                         U32 Flags);

    int BeginDownload();
    /// The library's result: not negative on success.
    int EndDownload(bool DoHalt);

    /// Single reads; 0, or -1 with 0xEE in every byte of the output.
    int ReadByte(U32 Addr, U8* pOut);
    int ReadHalfWord(U32 Addr, U16* pOut);
    int ReadWord(U32 Addr, U32* pOut);
    int ReadInt(U32 Addr, U32 Size, U32* pOut);
    /// Instructions, with the byte order of instructions; -1 on failure. A 32-bit Thumb instruction has its first
    /// halfword in the low 16 bits.
    I64 ReadInst(U32 Addr, U32 InstLen, bool IsARMInst);

    /// True if memory can be read now. Any thread.
    bool IsMemoryAccessible();

    /// Checks a request and logs what is wrong with it. 0 or -1.
    int ValidateMemoryAccessParams(bool IsRead, U32 Addr, U32 NumBytes, const U8* paData, const U8* paStatus);

private:
    U32 ReadPart(U32 Addr, U32 NumBytes, I8 AW, U32 Flags, U8* pData, U8* paStatus);
    U32 WritePart(U32 Addr, U32 NumBytes, I8 AW, const U8* paData);
    U32 WriteRange(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, const U8* paData);
    bool IsTargetRunning() const;
    bool BeginHaltForAccess(U32* pFlags);
    void EndHaltForAccess(bool WasHalted);
    void StartProgress(const char* sText, U32 NumBytes, U32 NumChunks);
    void SetProgress(U32 NumBytes, U32 NumChunks, U32 Chunk);

    CTarget& m_T;
    bool m_IsDownloading = false;
    bool m_IsRefused = false; ///< not all bytes of the download have been taken
};
