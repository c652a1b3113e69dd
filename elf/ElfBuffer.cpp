#include "elf/ElfBuffer.h"

#include "elf/ElfTasks.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#ifdef __linux__
#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

constexpr size_t PAGE = 4096;

struct FILE_CLOSER {
    void operator()(std::FILE* p) const { std::fclose(p); }
};
using DISK_FILE = std::unique_ptr<std::FILE, FILE_CLOSER>;

bool ReadPart(const char* sPath, size_t Off, U8* pData, size_t NumBytes) {
    const DISK_FILE pDisk(std::fopen(sPath, "rb"));
    if (pDisk == nullptr || std::fseek(pDisk.get(), static_cast<long>(Off), SEEK_SET) != 0) {
        return false;
    }
    std::setvbuf(pDisk.get(), nullptr, _IONBF, 0);
    return std::fread(pData, 1, NumBytes, pDisk.get()) == NumBytes;
}

#ifdef __linux__

constexpr size_t PIECE = 4 << 20; ///< bytes that are copied at a time

/// The one mapping whose lost pages read as zeros; one program file is open at a time.
std::atomic<U8*> pGuarded;
std::atomic<U8*> pGuardedEnd;
std::atomic<bool> HasLostPages;
struct sigaction OldAction;

/// Only what is allowed in a signal handler: atomics and system calls.
void OnBusError(int, siginfo_t* pInfo, void*) {
    U8* const p = static_cast<U8*>(pInfo->si_addr);
    U8* const pPage = p - reinterpret_cast<uintptr_t>(p) % PAGE;
    if (p >= pGuarded && p < pGuardedEnd &&
        mmap(pPage, PAGE, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
        HasLostPages = true;
        return;
    }
    sigaction(SIGBUS, &OldAction, nullptr); // not ours: it comes again and finds whose it is
}

bool Guard(U8* pData, size_t NumBytes) {
    if (pGuarded != nullptr) {
        return false;
    }
    HasLostPages = false;
    pGuardedEnd = pData + NumBytes;
    pGuarded = pData;
    struct sigaction Action {};
    Action.sa_sigaction = OnBusError;
    Action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigemptyset(&Action.sa_mask);
    return sigaction(SIGBUS, &Action, &OldAction) == 0;
}

void Unguard() {
    sigaction(SIGBUS, &OldAction, nullptr);
    pGuarded = nullptr;
}

/// Reads up to the end of the file; what is behind it stays zero.
void ReadAt(int File, U8* pData, size_t NumBytes, size_t Off) {
    while (NumBytes > 0) {
        const ssize_t Num = pread(File, pData, NumBytes, static_cast<off_t>(Off));
        if (Num <= 0) {
            HasLostPages = true;
            return;
        }
        pData += Num;
        Off += static_cast<size_t>(Num);
        NumBytes -= static_cast<size_t>(Num);
    }
}

#endif

} // namespace

CElfBuffer::~CElfBuffer() {
    m_IsEnding = true;
    WaitDetached();
#ifdef __linux__
    if (m_IsMapped) {
        if (m_File >= 0) {
            Unguard();
            close(m_File);
        }
        munmap(m_pData, m_NumBytes);
        return;
    }
#endif
    std::free(m_pData);
}

bool CElfBuffer::Alloc(size_t NumBytes) {
    m_pData = static_cast<U8*>(std::malloc(NumBytes));
    m_NumBytes = NumBytes;
    return m_pData != nullptr;
}

bool CElfBuffer::Read(const char* sPath) {
    const size_t Half = m_NumBytes / 2 / PAGE * PAGE; // no page is of both halves
    bool aIsRead[2] = {false, false};
    ELF_RunTasks({{[&] { aIsRead[0] = ReadPart(sPath, 0, m_pData, Half); }},
                  {[&] { aIsRead[1] = ReadPart(sPath, Half, m_pData + Half, m_NumBytes - Half); }}},
                 m_NumBytes);
    return aIsRead[0] && aIsRead[1];
}

void CElfBuffer::WaitDetached() {
    if (m_Copier.joinable()) {
        m_Copier.join();
    }
}

#ifdef __linux__

bool CElfBuffer::Map(const char* sPath, size_t NumBytes) {
    if (NumBytes < MIN_MAPPED) {
        return false;
    }
    const int File = open(sPath, O_RDONLY | O_CLOEXEC);
    struct stat Info {};
    if (File < 0 || fstat(File, &Info) != 0 || !S_ISREG(Info.st_mode) || static_cast<U64>(Info.st_size) != NumBytes) {
        if (File >= 0) {
            close(File);
        }
        return false;
    }
    // Not populated: a third of a program file is read by nobody before it is copied, and the rest by several threads.
    void* p = mmap(nullptr, NumBytes, PROT_READ, MAP_PRIVATE, File, 0);
    if (p == MAP_FAILED || !Guard(static_cast<U8*>(p), NumBytes)) {
        if (p != MAP_FAILED) {
            munmap(p, NumBytes);
        }
        close(File);
        return false;
    }
    m_pData = static_cast<U8*>(p);
    m_NumBytes = NumBytes;
    m_IsMapped = true;
    m_File = File;
    return true;
}

void CElfBuffer::Detach() {
    if (m_IsMapped && m_File >= 0 && !m_Copier.joinable()) {
        m_Copier = std::thread([this] { CopyPieces(); });
    }
}

bool CElfBuffer::HasLost() const { return m_IsMapped && HasLostPages; }

/// If memory runs out the rest stays mapped and guarded.
void CElfBuffer::CopyPieces() {
    for (size_t Off = 0; Off < m_NumBytes; Off += PIECE) {
        const size_t Size = std::min(PIECE, m_NumBytes - Off);
        void* pCopy =
            m_IsEnding ? MAP_FAILED : mmap(nullptr, Size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pCopy == MAP_FAILED) {
            return;
        }
        ReadAt(m_File, static_cast<U8*>(pCopy), Size, Off);
        mprotect(pCopy, Size, PROT_READ);
        // Whoever reads at that address meanwhile waits in the page fault until the copy is there.
        if (mremap(pCopy, Size, Size, MREMAP_MAYMOVE | MREMAP_FIXED, m_pData + Off) == MAP_FAILED) {
            munmap(pCopy, Size);
            return;
        }
    }
    Unguard();
    close(m_File);
    m_File = -1;
}

#else

bool CElfBuffer::Map(const char*, size_t) { return false; }
void CElfBuffer::Detach() {}
bool CElfBuffer::HasLost() const { return false; }
void CElfBuffer::CopyPieces() {}

#endif

I64 ELF_GetDiskFileSize(const char* sPath) {
    std::error_code Error;
    const std::filesystem::file_status Status = std::filesystem::status(sPath, Error);
    if (Error || !std::filesystem::exists(Status)) {
        return -1;
    }
    if (!std::filesystem::is_regular_file(Status)) {
        return 0; // a device or pipe would be waited for
    }
    const std::uintmax_t Size = std::filesystem::file_size(sPath, Error);
    return Error ? -1 : static_cast<I64>(Size);
}
