#pragma once

// The bytes of a program file in memory, as they were when it was opened. A large file is mapped at first, so that it
// can be parsed at once; then a thread of the buffer's own copies it piece by piece and puts each copy in the place of
// its piece, at the same address. From then on the file on the disk may change or go. A piece that is lost before it
// was copied, since the file was cut meanwhile, reads as zeros.

#include "base/Types.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>

class CElfBuffer {
public:
    CElfBuffer() = default;
    ~CElfBuffer();
    CElfBuffer(const CElfBuffer&) = delete;
    CElfBuffer& operator=(const CElfBuffer&) = delete;

    /// Memory for that many bytes. False if there is not so much.
    bool Alloc(size_t NumBytes);
    /// Fills the allocated bytes from a disk file. False if they are not there.
    bool Read(const char* sPath);
    /// Instead of both: maps a disk file of at least MIN_MAPPED bytes. False if that can't be done; read it then.
    bool Map(const char* sPath, size_t NumBytes);
    /// Starts to copy what is mapped.
    void Detach();
    /// Waits until all is copied.
    void WaitDetached();
    /// True if a part of the mapped file was lost.
    bool HasLost() const;

    const U8* get() const { return m_pData; }
    U8* get() { return m_pData; }

    static constexpr size_t MIN_MAPPED = 4 << 20;

private:
    void CopyPieces();
    U8* m_pData = nullptr;
    size_t m_NumBytes = 0;
    bool m_IsMapped = false;
    int m_File = -1;
    std::atomic<bool> m_IsEnding = false;
    std::thread m_Copier;
};

/// Size of a disk file, -1 if it can't be opened.
I64 ELF_GetDiskFileSize(const char* sPath);
