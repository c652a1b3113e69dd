#include "device/TargetMemory.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr U32 PROGRESS_MIN_BYTES = 4000; ///< below this the reads of windows would flicker
constexpr U64 ADDR_LIMIT = 0xFFFFFFFF;

struct CHUNKS {
    U32 Size;
    U32 Count;
};

CHUNKS SplitChunks(U32 NumBytes, U32 ChunkSize) {
    const U32 Size = ChunkSize == 0 || ChunkSize > NumBytes ? NumBytes : ChunkSize;
    return {Size, Size ? U32((U64(NumBytes) + Size - 1) / Size) : 0};
}

// 2, 4 or 8 aligned bytes, which are accessed as one item: a number in the byte order of this machine.
bool IsItem(U32 Addr, U32 NumBytes) {
    return (NumBytes == 2 || NumBytes == 4 || NumBytes == 8) && Addr % NumBytes == 0;
}

// One access of the natural width of 1, 2, 4 or 8 aligned bytes; -1 if the range is none of these.
template <class FUNC1, class FUNC2, class FUNC4, class FUNC8>
int ByNaturalWidth(U32 Addr, U32 NumBytes, FUNC1&& Func1, FUNC2&& Func2, FUNC4&& Func4, FUNC8&& Func8) {
    if (NumBytes == 1) {
        return Func1();
    }
    if (!IsItem(Addr, NumBytes)) {
        return -1;
    }
    return NumBytes == 2 ? Func2() : NumBytes == 4 ? Func4() : Func8();
}

template <class T, class FUNC> int ReadItem(FUNC* pfRead, U32 Addr, U8* paData) {
    T Value = 0;
    U8 Status = 0;
    const bool IsRead = pfRead(Addr, 1, &Value, &Status) == 1;
    if (IsRead) {
        std::memcpy(paData, &Value, sizeof(Value));
    }
    return IsRead ? int(sizeof(T)) : 0;
}

template <class T, class FUNC> int WriteItem(FUNC* pfWrite, U32 Addr, const U8* paData) {
    T Value = 0;
    std::memcpy(&Value, paData, sizeof(Value));
    return pfWrite(Addr, Value) == 0 ? int(sizeof(T)) : 0;
}

U16 Swap16(U16 Value) { return U16((Value << 8) | (Value >> 8)); }
U32 Swap32(U32 Value) { return (U32(Swap16(U16(Value))) << 16) | Swap16(U16(Value >> 16)); }

} // namespace

int CTargetMemory::ValidateMemoryAccessParams(bool IsRead, U32 Addr, U32 NumBytes, const U8* paData,
                                              const U8* paStatus) {
    const char* sError = nullptr;
    if (!m_T.State.Connected) {
        sError = "not connected to target";
    } else if (!paData) {
        sError = "invalid data buffer";
    } else if (IsRead && !paStatus) {
        sError = "invalid status buffer";
    } else if (NumBytes == 0) {
        sError = "byte count is 0";
    } else if (U64(Addr) + NumBytes >= ADDR_LIMIT) {
        sError = "outside address range";
    }
    if (sError) {
        m_T.Events.Log(DEV_LOG_WARN, "%s %s", IsRead ? "ReadMem:" : "WriteMem:", sError);
    }
    return sError ? -1 : 0;
}

U32 CTargetMemory::ReadMemSimple(U32 Addr, U32 NumBytes, I8 AccessWidth, U32 Flags, U8* paData, U8* paStatus) {
    if (!paData || !paStatus || ValidateMemoryAccessParams(true, Addr, NumBytes, paData, paStatus) != 0) {
        return 0;
    }
    std::memset(paData, 0, NumBytes);
    int Count = ByNaturalWidth(
        Addr, NumBytes, [&] { return ReadItem<U8>(m_T.Novik.NOVIKARM_ReadMemU8, Addr, paData); },
        [&] { return ReadItem<U16>(m_T.Novik.NOVIKARM_ReadMemU16, Addr, paData); },
        [&] { return ReadItem<U32>(m_T.Novik.NOVIKARM_ReadMemU32, Addr, paData); },
        [&] { return ReadItem<U64>(m_T.Novik.NOVIKARM_ReadMemU64, Addr, paData); });
    if (Count < 0) {
        Count = (Flags & MEM_FLAG_HW_READ)
                    ? (m_T.Novik.NOVIKARM_ReadMemHW(Addr, NumBytes, paData) == 0 ? int(NumBytes) : 0)
                    : m_T.Novik.NOVIKARM_ReadMemEx(Addr, NumBytes, paData, AccessWidth);
    }
    const U32 NumRead = std::min(U32(std::max(Count, 0)), NumBytes);
    std::memset(paStatus, 0, NumRead);
    std::memset(paStatus + NumRead, 1, NumBytes - NumRead);
    return NumRead;
}

// Items that are parts of a longer range lie in it as in the target's memory.
U32 CTargetMemory::ReadPart(U32 Addr, U32 NumBytes, I8 AW, U32 Flags, U8* pData, U8* paStatus) {
    const U32 Count = ReadMemSimple(Addr, NumBytes, AW, Flags, pData, paStatus);
    if (Count && m_T.State.DataEndian && IsItem(Addr, NumBytes)) {
        std::reverse(pData, pData + NumBytes);
    }
    return Count;
}

U32 CTargetMemory::WritePart(U32 Addr, U32 NumBytes, I8 AW, const U8* paData) {
    if (!m_T.State.DataEndian || !IsItem(Addr, NumBytes)) {
        return WriteMemSimple(Addr, NumBytes, AW, paData);
    }
    U8 aItem[sizeof(U64)];
    std::reverse_copy(paData, paData + NumBytes, aItem);
    return WriteMemSimple(Addr, NumBytes, AW, aItem);
}

U32 CTargetMemory::ReadMemItemWise(U32 Addr, U32 NumBytes, I8 AW, U32 Flags, U8* pData, U8* paStatus) {
    const U32 ItemSize = AW > 0 ? U32(AW) : 1;
    U32 Count = 0;
    for (U32 Off = 0; Off < NumBytes && !m_T.IsCancelled(); Off += ItemSize) {
        const U32 Size = std::min(ItemSize, NumBytes - Off);
        Count += ReadPart(Addr + Off, Size, AW, Flags, pData + Off, paStatus + Off);
    }
    return Count;
}

void CTargetMemory::StartProgress(const char* sText, U32 NumBytes, U32 NumChunks) {
    if (NumBytes > PROGRESS_MIN_BYTES) {
        m_T.Events.PostText(DEV_EVENT_SET_PROGRESS_MSG, sText);
        if (NumChunks > 1) {
            m_T.Events.Post(DEV_EVENT_START_PROGRESS, 0, NumChunks - 1);
        }
    }
}

void CTargetMemory::SetProgress(U32 NumBytes, U32 NumChunks, U32 Chunk) {
    if (NumBytes > PROGRESS_MIN_BYTES && NumChunks > 1) {
        m_T.Events.Post(DEV_EVENT_SET_PROGRESS_VALUE, Chunk);
    }
}

U32 CTargetMemory::ReadMemChunkWise(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, U8* pData, U8* paStatus) {
    const CHUNKS Chunks = SplitChunks(NumBytes, ChunkSize);
    U32 Count = 0;
    StartProgress("Reading Memory...", NumBytes, Chunks.Count);
    for (U32 i = 0; i < Chunks.Count && !m_T.IsCancelled(); i++) {
        const U32 Off = i * Chunks.Size;
        const U32 Size = std::min(Chunks.Size, NumBytes - Off);
        U32 Read = 0;
        if (Chunks.Count > 1) {
            Read = ReadPart(Addr + Off, Size, AW, Flags, pData + Off, paStatus + Off);
        }
        if ((Flags & MEM_FLAG_ITEMWISE) && Read < Size) {
            const U32 From = Off + Read;
            Read += ReadMemItemWise(Addr + From, Size - Read, AW, Flags, pData + From, paStatus + From);
        }
        Count += Read;
        SetProgress(NumBytes, Chunks.Count, i);
    }
    if (m_T.Run.IsTargetHalted()) {
        m_T.Events.Post(DEV_EVENT_END_PROGRESS);
    }
    return Count;
}

// True if the target was running and has been halted; the flag is spent.
bool CTargetMemory::BeginHaltForAccess(U32* pFlags) {
    const bool IsWanted = (*pFlags & MEM_FLAG_HALT) && IsTargetRunning();
    *pFlags &= ~MEM_FLAG_HALT;
    return IsWanted && m_T.Novik.NOVIKARM_Halt() == 0;
}

// A target that has just stopped at a breakpoint must not be resumed behind an access: between two polls only the
// library knows.
bool CTargetMemory::IsTargetRunning() const {
    return m_T.State.Connected && !m_T.State.Halted && m_T.Novik.NOVIKARM_IsHalted() == 0;
}

void CTargetMemory::EndHaltForAccess(bool WasHalted) {
    if (WasHalted && m_T.State.Connected) {
        m_T.Novik.NOVIKARM_GoEx(0, 1);
    }
}

U32 CTargetMemory::ReadMem(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, U8* paData, U8* paStatus) {
    if (!paData || !paStatus || ValidateMemoryAccessParams(true, Addr, NumBytes, paData, paStatus) != 0) {
        return 0;
    }
    const bool WasHalted = BeginHaltForAccess(&Flags);
    U32 Count = ReadMemSimple(Addr, NumBytes, AW, Flags, paData, paStatus);
    if (Count < NumBytes && ChunkSize != 0) {
        Count +=
            ReadMemChunkWise(Addr + Count, NumBytes - Count, ChunkSize, AW, Flags, paData + Count, paStatus + Count);
    }
    EndHaltForAccess(WasHalted);
    return Count;
}

U32 CTargetMemory::WriteMemSimple(U32 Addr, U32 NumBytes, I8 AW, const U8* paData) {
    if (ValidateMemoryAccessParams(false, Addr, NumBytes, paData, nullptr) != 0) {
        return 0;
    }
    int Count = ByNaturalWidth(
        Addr, NumBytes, [&] { return WriteItem<U8>(m_T.Novik.NOVIKARM_WriteU8, Addr, paData); },
        [&] { return WriteItem<U16>(m_T.Novik.NOVIKARM_WriteU16, Addr, paData); },
        [&] { return WriteItem<U32>(m_T.Novik.NOVIKARM_WriteU32, Addr, paData); },
        [&] { return WriteItem<U64>(m_T.Novik.NOVIKARM_WriteU64, Addr, paData); });
    if (Count < 0) {
        Count = m_T.Novik.NOVIKARM_WriteMemEx(Addr, NumBytes, paData, AW);
    }
    return std::min(U32(std::max(Count, 0)), NumBytes);
}

U32 CTargetMemory::WriteMemItemWise(U32 Addr, U32 NumBytes, I8 AW, const U8* paData) {
    const U32 ItemSize = AW > 0 ? U32(AW) : 1;
    U32 Count = 0;
    for (U32 Off = 0; Off < NumBytes && !m_T.IsCancelled(); Off += ItemSize) {
        Count += WritePart(Addr + Off, std::min(ItemSize, NumBytes - Off), AW, paData + Off);
    }
    return Count;
}

U32 CTargetMemory::WriteMemChunkWise(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, const U8* paData) {
    const CHUNKS Chunks = SplitChunks(NumBytes, ChunkSize);
    U32 Count = 0;
    StartProgress("Writing Memory...", NumBytes, Chunks.Count);
    for (U32 i = 0; i < Chunks.Count && !m_T.IsCancelled(); i++) {
        const U32 Off = i * Chunks.Size;
        const U32 Size = std::min(Chunks.Size, NumBytes - Off);
        U32 Written = Chunks.Count > 1 ? WritePart(Addr + Off, Size, AW, paData + Off) : 0;
        if ((Flags & MEM_FLAG_ITEMWISE) && Written < Size) {
            Written += WriteMemItemWise(Addr + Off + Written, Size - Written, AW, paData + Off + Written);
        }
        Count += Written;
        SetProgress(NumBytes, Chunks.Count, i);
    }
    m_T.Events.Post(DEV_EVENT_END_PROGRESS);
    return Count;
}

U32 CTargetMemory::WriteMem(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, const U8* paData) {
    if (ValidateMemoryAccessParams(false, Addr, NumBytes, paData, nullptr) != 0) {
        m_T.Report.NoteWrite(Addr, NumBytes, 0, false);
        return 0;
    }
    const bool WasHalted = BeginHaltForAccess(&Flags);
    const bool IsDownload = Flags & MEM_FLAG_DOWNLOAD;
    if (IsDownload) {
        BeginDownload();
    }
    U32 Count = WriteMemSimple(Addr, NumBytes, AW, paData);
    if (Count < NumBytes && ChunkSize != 0) {
        Count += WriteMemChunkWise(Addr + Count, NumBytes - Count, ChunkSize, AW, Flags, paData + Count);
    }
    if (IsDownload && EndDownload(false) < 0) {
        Count = 0; // what was held back has not reached the target
    }
    EndHaltForAccess(WasHalted);
    if (Count < NumBytes) {
        m_T.Report.NoteWrite(Addr, NumBytes, Count, IsDownload || m_IsDownloading);
    }
    return Count;
}

// The data of several ranges is an image of memory, a range of one item no exception.
U32 CTargetMemory::WriteRange(U32 Addr, U32 NumBytes, U32 ChunkSize, I8 AW, U32 Flags, const U8* paData) {
    U8 aItem[sizeof(U64)];
    if (m_T.State.DataEndian && IsItem(Addr, NumBytes)) {
        paData = std::reverse_copy(paData, paData + NumBytes, aItem) - NumBytes;
    }
    return WriteMem(Addr, NumBytes, ChunkSize, AW, Flags, paData);
}

U32 CTargetMemory::WriteMemMultiple(U32 Cnt, const U32* paAddrRanges, U32 NumBytes, const U8* paData, U32 ChunkSize,
                                    I8 AW, U32 Flags) {
    const bool WasHalted = BeginHaltForAccess(&Flags);
    const bool IsDownload = Flags & MEM_FLAG_DOWNLOAD;
    Flags &= ~MEM_FLAG_DOWNLOAD;
    if (IsDownload) {
        BeginDownload();
    }
    U32 Count = 0;
    U64 Off = 0;
    for (U32 i = 0; i < Cnt && !m_T.IsCancelled(); i++) {
        const U32 Start = paAddrRanges[2 * i];
        const U32 End = paAddrRanges[2 * i + 1];
        // An end of 0 is that of the address space.
        const U32 Size = End > Start || End == 0 ? End - Start : 0;
        if (Off + Size > NumBytes) {
            break;
        }
        if (Size) {
            Count += WriteRange(Start, Size, ChunkSize, AW, Flags, paData + Off);
        }
        Off += Size;
    }
    if (Count < NumBytes && m_T.IsCancelled()) {
        m_T.Report.NoteCancelled(Count, NumBytes);
    }
    m_T.State.DownloadProblems.Set(m_T.Report.Problems().join('\n'));
    if (IsDownload) {
        EndDownload(false);
    }
    m_IsRefused = IsDownload && Count < NumBytes;
    if (m_IsRefused) {
        m_T.State.LastDownloadResult = NOVIK_DL_ERR_UNSPECIFIED;
    }
    EndHaltForAccess(WasHalted);
    return Count;
}

int CTargetMemory::BeginDownload() {
    m_IsDownloading = true;
    m_IsRefused = false;
    m_T.State.DownloadProblems.Set(QByteArray());
    if (!m_T.State.Connected) {
        m_T.LogDebug("BeginDL: not connected");
        return -1;
    }
    m_T.Novik.NOVIKARM_BeginDownload(0);
    return 0;
}

// Blocks that were refused make a failed download of it, however the library ends it.
int CTargetMemory::EndDownload(bool DoHalt) {
    m_IsDownloading = false;
    const bool WasRefused = std::exchange(m_IsRefused, false);
    if (!m_T.State.Connected) {
        m_T.LogDebug("EndDL: not connected");
        m_T.State.LastDownloadResult = NOVIK_DL_ERR_UNSPECIFIED;
        return -1;
    }
    const bool WasHalted = DoHalt && IsTargetRunning() && m_T.Novik.NOVIKARM_Halt() == 0;
    m_T.Events.PostText(DEV_EVENT_SET_PROGRESS_MSG, "Writing Memory...");
    m_T.Events.Post(DEV_EVENT_START_PROGRESS, 0, 0);
    const int Answer = m_T.Novik.NOVIKARM_EndDownload();
    const int Result = Answer >= 0 && WasRefused ? int(NOVIK_DL_ERR_UNSPECIFIED) : Answer;
    m_T.Events.Post(DEV_EVENT_END_PROGRESS);
    if (WasHalted && m_T.State.Running) {
        m_T.Novik.NOVIKARM_GoEx(0, 1);
    }
    m_T.Run.TestConnectionLost();
    m_T.State.LastDownloadResult = Result;
    return Result;
}

int CTargetMemory::ReadByte(U32 Addr, U8* pOut) {
    *pOut = 0xEE;
    if (!m_T.State.Connected || Addr == 0xFFFFFFFE) {
        return -1;
    }
    if (Addr == 0xFFFFFFFF) {
        m_T.Events.Log(DEV_LOG_WARN, "Attempting to read byte at invalid address %x", Addr);
        return -1;
    }
    U8 Status = 0;
    if (m_T.Novik.NOVIKARM_ReadMemU8(Addr, 1, pOut, &Status) != 1) {
        *pOut = 0xEE;
        m_T.LogWarn("ReadByte: Novik API call failed");
        return -1;
    }
    return 0;
}

int CTargetMemory::ReadHalfWord(U32 Addr, U16* pOut) {
    *pOut = 0xEEEE;
    if (!m_T.State.Connected) {
        m_T.LogDebug("ReadHalfWord: not connected");
        return -1;
    }
    if (Addr == 0xFFFFFFFD) {
        m_T.LogWarn("ReadHalfWord: Outside address range");
        return -1;
    }
    if (Addr & 1) {
        m_T.Events.Log(DEV_LOG_WARN, "Attempting to read half word unaligned at %x", Addr);
        return -1;
    }
    U8 Status = 0;
    if (m_T.Novik.NOVIKARM_ReadMemU16(Addr, 1, pOut, &Status) != 1) {
        *pOut = 0xEEEE;
        m_T.LogWarn("ReadHalfWord: Novik API call failed");
        return -1;
    }
    return 0;
}

int CTargetMemory::ReadWord(U32 Addr, U32* pOut) {
    *pOut = 0xEEEEEEEE;
    if (!m_T.State.Connected) {
        m_T.LogDebug("ReadWord: Not connected");
        return -1;
    }
    if (Addr == 0xFFFFFFFB) {
        m_T.LogWarn("ReadWord: Outside address range");
        return -1;
    }
    if (Addr & 3) {
        m_T.Events.Log(DEV_LOG_WARN, "Attempting to read word unaligned at %x", Addr);
        return -1;
    }
    U8 Status = 0;
    if (m_T.Novik.NOVIKARM_ReadMemU32(Addr, 1, pOut, &Status) != 1) {
        *pOut = 0xEEEEEEEE;
        m_T.LogWarn("ReadWord: Novik API call failed");
        return -1;
    }
    return 0;
}

int CTargetMemory::ReadInt(U32 Addr, U32 Size, U32* pOut) {
    U8 Byte = 0;
    U16 HalfWord = 0;
    int Result = -1;
    switch (Size) {
    case 1:
        Result = ReadByte(Addr, &Byte);
        *pOut = Byte;
        return Result;
    case 2:
        Result = ReadHalfWord(Addr, &HalfWord);
        *pOut = HalfWord;
        return Result;
    case 4:
        return ReadWord(Addr, pOut);
    default:
        return -1;
    }
}

I64 CTargetMemory::ReadInst(U32 Addr, U32 InstLen, bool IsARMInst) {
    const bool DoSwap = m_T.State.DataEndian != m_T.State.InstEndian;
    if (InstLen == 4 && IsARMInst) {
        U32 Word = 0;
        return ReadWord(Addr, &Word) == 0 ? I64(DoSwap ? Swap32(Word) : Word) : -1;
    }
    U32 Inst = 0;
    for (U32 Off = 0; Off < InstLen; Off += 2) {
        U16 HalfWord = 0;
        if (ReadHalfWord(Addr + Off, &HalfWord) != 0) {
            return -1;
        }
        Inst |= U32(DoSwap ? Swap16(HalfWord) : HalfWord) << (8 * Off);
    }
    return Inst;
}

bool CTargetMemory::IsMemoryAccessible() {
    if (!m_T.State.Connected) {
        return false;
    }
    if (m_T.State.Caps[CAP_BACKGROUND_MEM]) {
        return true;
    }
    return m_T.IsDeviceThread() ? m_T.Run.IsTargetHalted() : m_T.State.StateValid != 0;
}
