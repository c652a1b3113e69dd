#include "elf/Elf.h"
#include "fuzz/AskElf.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Programs damaged in many ways: each is opened and asked everything in a process of its own, so that a crash, a hang
// and the highest memory show. Arguments: "--seed N", "--keep FOLDER" for the files that do worst, "--as-is" for files
// that are damaged already, and the programs.

namespace {

constexpr U32 NUM_ASKED = 150;      ///< symbols and addresses of each kind ...
constexpr U32 NUM_ASKED_LARGE = 10; ///< ... and of a file above 16 MB, where names have thousands of symbols
constexpr qsizetype LARGE_SIZE = 16 << 20;
constexpr double MIN_SIZE = 1 << 20; ///< smaller files count as this, or the start of the process would be measured
constexpr double TEN_MB = 10e6;
constexpr double GOAL_SECONDS = 2;
constexpr double GOAL_SIZES = 8;        ///< memory, in sizes of the file
constexpr double BYTES_DAMAGED = 300e6; ///< of each program, by the number of its mutants
constexpr rlim_t MAX_CPU_SECONDS = 60;  ///< a process that runs longer hangs

struct SECTION {
    QByteArray Name;
    U32 Off;
    U32 Size;
};

struct PROGRAM {
    QString sPath;
    QByteArray Bytes;
    QList<SECTION> Sections; ///< with bytes in the file
    U32 HeadersOff = 0;      ///< section headers
    U32 NumHeaders = 0;
};

struct RESULT {
    bool IsCrash = false;
    double OpenSeconds = 0; ///< of processor time
    double AskSeconds = 0;  ///< the same, for 10 MB of a larger file
    double MemoryBytes = 0;
};

using RANDOM = std::mt19937;

U32 Below(RANDOM& Random, size_t Max) { return Max == 0 ? 0 : static_cast<U32>(Random() % Max); }

/// Writes a value that fields don't usually have: none, all ones, sign bits, a place in the section, an endless LEB128.
void PutOdd(RANDOM& Random, char* p, U32 NumLeft, U32 SectionSize) {
    static const char aLeb[] = "\xFF\xFF\xFF\xFF\x7F";
    const U32 aValue[] = {0,
                          1,
                          0x7F,
                          0x80,
                          0xFF,
                          0xFFFF,
                          0x7FFFFFFF,
                          0x80000000,
                          0xFFFFFFFF,
                          0xFFFFFFF0,
                          Below(Random, SectionSize),
                          static_cast<U32>(Random())};
    const U32 Size = 1u << Below(Random, 3);
    const U32 Value = aValue[Below(Random, std::size(aValue))];
    if (Below(Random, 6) == 0 && NumLeft >= 5) {
        std::memcpy(p, aLeb, 5);
    } else if (Size <= NumLeft) {
        std::memcpy(p, &Value, Size);
    }
}

/// A section whose name has the text in it, any one without text.
const SECTION& Pick(const PROGRAM& P, RANDOM& Random, const char* sText) {
    QList<qsizetype> Fit;
    for (qsizetype i = 0; i < P.Sections.size(); ++i) {
        if (P.Sections[i].Name.contains(sText)) {
            Fit.append(i);
        }
    }
    return P.Sections[Fit.isEmpty() ? Below(Random, static_cast<size_t>(P.Sections.size()))
                                    : Fit[Below(Random, static_cast<size_t>(Fit.size()))]];
}

void FlipBits(const PROGRAM& P, RANDOM& Random, const char* sText, QByteArray* p) {
    const SECTION& S = Pick(P, Random, sText);
    for (U32 n = 1 + Below(Random, 200); n > 0; --n) {
        (*p)[S.Off + Below(Random, S.Size)] ^= static_cast<char>(1 << Below(Random, 8));
    }
}

void OddFields(const PROGRAM& P, RANDOM& Random, const char* sText, QByteArray* p) {
    const SECTION& S = Pick(P, Random, sText);
    for (U32 n = 1 + Below(Random, 60); n > 0; --n) {
        // The first bytes are the header that says how long everything is.
        const U32 Off = Below(Random, 3) == 0 ? Below(Random, std::min<U32>(S.Size, 48)) : Below(Random, S.Size);
        PutOdd(Random, p->data() + S.Off + Off, S.Size - Off, S.Size);
    }
}

/// One short pattern over a large part of a section: programs of one instruction, units of one entry.
void Fill(const PROGRAM& P, RANDOM& Random, const char* sText, QByteArray* p) {
    const SECTION& S = Pick(P, Random, sText);
    const U32 First = Below(Random, std::min<U32>(S.Size, 200));
    const U32 Size = Below(Random, 2) == 0 ? S.Size - First : Below(Random, S.Size - First);
    const U32 Length = 1 + Below(Random, 6);
    const QByteArray Pattern = Below(Random, 3) == 0 ? QByteArray(1, static_cast<char>(Random()))
                                                     : p->mid(S.Off + Below(Random, S.Size), Length);
    for (U32 i = 0; i < Size && !Pattern.isEmpty(); ++i) {
        (*p)[S.Off + First + i] = Pattern[i % Pattern.size()];
    }
}

/// Four-byte fields become places in the same section: references that lead in circles.
void Redirect(const PROGRAM& P, RANDOM& Random, const char* sText, QByteArray* p) {
    const SECTION& S = Pick(P, Random, sText);
    for (U32 n = 1 + S.Size / (50 + Below(Random, 2000)); n > 0 && S.Size > 8; --n) {
        const U32 Target = Below(Random, 2) == 0 ? 11 + Below(Random, 300) : Below(Random, S.Size);
        std::memcpy(p->data() + S.Off + Below(Random, S.Size - 4), &Target, 4);
    }
}

void Truncate(const PROGRAM&, RANDOM& Random, const char*, QByteArray* p) {
    p->truncate(Below(Random, static_cast<size_t>(p->size())));
}

/// Section headers: other sizes and places, two sections over the same bytes, compressed ones that aren't.
void Headers(const PROGRAM& P, RANDOM& Random, const char*, QByteArray* p) {
    constexpr U32 HEADER_SIZE = 40;
    for (U32 n = 1 + Below(Random, 8); n > 0 && P.NumHeaders != 0; --n) {
        char* pHeader = p->data() + P.HeadersOff + HEADER_SIZE * Below(Random, P.NumHeaders);
        const char* pOther = p->constData() + P.HeadersOff + HEADER_SIZE * Below(Random, P.NumHeaders);
        const U32 Field = 4 * Below(Random, 10);
        switch (Below(Random, 4)) {
        case 0:
            std::memmove(pHeader + 16, pOther + 16, 8); // place and size
            break;
        case 1:
            pHeader[9] = static_cast<char>(pHeader[9] ^ 8); // SHF_COMPRESSED
            break;
        case 2:
            std::memmove(pHeader + Field, pOther + Field, 4);
            break;
        default:
            PutOdd(Random, pHeader + Field, 4, static_cast<U32>(p->size()));
        }
    }
}

/// Texts without an end, or with one end for all.
void LongTexts(const PROGRAM& P, RANDOM& Random, const char* sText, QByteArray* p) {
    const SECTION& S = Pick(P, Random, sText);
    std::memset(p->data() + S.Off, 'A', S.Size);
    (*p)[S.Off + (Below(Random, 2) == 0 ? S.Size - 1 : Below(Random, S.Size))] = '\0';
}

/// Functions one behind the other that all reach far over the next ones.
void OverlapSymbols(const PROGRAM& P, RANDOM& Random, const char* sText, QByteArray* p) {
    constexpr U32 SYM_SIZE = 16;
    const SECTION& S = Pick(P, Random, sText);
    const U32 Step = Below(Random, 5);
    for (U32 i = 0; i + SYM_SIZE <= S.Size; i += SYM_SIZE) {
        const Elf32_Sym Sym = {5, 0x08000001 + i / SYM_SIZE * Step, 900'000, 0x12, 0, 1};
        std::memcpy(p->data() + S.Off + i, &Sym, sizeof(Sym));
    }
}

struct DAMAGE {
    const char* sName;
    void (*pfDamage)(const PROGRAM& P, RANDOM& Random, const char* sText, QByteArray* p);
    const char* sSection;
};

constexpr DAMAGE aDamage[] = {
    {"flip_any", FlipBits, ""},
    {"flip_info", FlipBits, "debug_info"},
    {"flip_abbrev", FlipBits, "debug_abbrev"},
    {"truncate", Truncate, ""},
    {"headers", Headers, ""},
    {"fields_any", OddFields, ""},
    {"fields_info", OddFields, "debug_info"},
    {"fields_abbrev", OddFields, "debug_abbrev"},
    {"fields_line", OddFields, "debug_line"},
    {"fields_frame", OddFields, "frame"},
    {"fields_loc", OddFields, "debug_loc"},
    {"fields_ranges", OddFields, "debug_r"},
    {"fields_str", OddFields, "str"},
    {"fields_symtab", OddFields, "symtab"},
    {"fill_info", Fill, "debug_info"},
    {"fill_abbrev", Fill, "debug_abbrev"},
    {"fill_line", Fill, "debug_line"},
    {"fill_frame", Fill, "frame"},
    {"fill_loc", Fill, "debug_loc"},
    {"fill_ranges", Fill, "debug_r"},
    {"fill_str", Fill, "str"},
    {"fill_symtab", Fill, "symtab"},
    {"texts", LongTexts, "str"},
    {"overlap", OverlapSymbols, "symtab"},
    {"redirect_info", Redirect, "debug_info"},
    {"redirect_any", Redirect, ""},
};

bool Load(const QString& sPath, PROGRAM* pProgram) {
    QFile File(sPath);
    if (!File.open(QIODevice::ReadOnly) || ElfApi_Init(sPath) != 0) {
        return false;
    }
    pProgram->sPath = sPath;
    pProgram->Bytes = File.readAll();
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    pProgram->HeadersOff = pFile->pEhdr.e_shoff;
    pProgram->NumHeaders = ELF_GetNumSections(pFile);
    for (U32 i = 0; i < pProgram->NumHeaders; ++i) {
        const U64 End = static_cast<U64>(ELF_GetSectionOffset(pFile, i)) + ELF_GetSectionSize(pFile, i);
        const char* sName = ELF_GetSectionName(pFile, i);
        if (ELF_GetSectionType(pFile, i) != SHT_NOBITS && ELF_GetSectionSize(pFile, i) > 4 && sName != nullptr &&
            End <= static_cast<U64>(pProgram->Bytes.size())) {
            pProgram->Sections.append({sName, ELF_GetSectionOffset(pFile, i), ELF_GetSectionSize(pFile, i)});
        }
    }
    ElfApi_Deinit();
    return !pProgram->Sections.isEmpty();
}

double CpuSeconds(const rusage& Usage) {
    return static_cast<double>(Usage.ru_utime.tv_sec + Usage.ru_stime.tv_sec) +
           static_cast<double>(Usage.ru_utime.tv_usec + Usage.ru_stime.tv_usec) / 1e6;
}

/// Runs in a process of its own; only its processor time counts, so that other work on the machine doesn't.
RESULT Try(const QByteArray& Bytes, bool HasFile) {
    const int File = memfd_create("damaged", 0);
    if (File < 0 || write(File, Bytes.constData(), static_cast<size_t>(Bytes.size())) != Bytes.size()) {
        std::perror("memfd");
        std::exit(1);
    }
    // Written by the child when the file is open or refused.
    static auto* const pOpened =
        static_cast<double*>(mmap(nullptr, sizeof(double), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *pOpened = 0;
    const pid_t Child = fork();
    if (Child == 0) {
        const rlimit Limit{MAX_CPU_SECONDS, MAX_CPU_SECONDS};
        const rlimit NoCore{0, 0};
        setrlimit(RLIMIT_CPU, &Limit);
        setrlimit(RLIMIT_CORE, &NoCore);
        const bool IsOpen = HasFile && ElfApi_Init(QStringLiteral("/proc/self/fd/%1").arg(File)) == 0;
        rusage Usage{};
        getrusage(RUSAGE_SELF, &Usage);
        *pOpened = CpuSeconds(Usage);
        if (IsOpen) {
            AskElf(Bytes.size() > LARGE_SIZE ? NUM_ASKED_LARGE : NUM_ASKED);
        }
        _exit(0);
    }
    int Status = 0;
    rusage Usage{};
    wait4(Child, &Status, 0, &Usage);
    close(File);
    RESULT Result;
    Result.IsCrash = !WIFEXITED(Status);
    Result.OpenSeconds = *pOpened != 0 ? *pOpened : CpuSeconds(Usage);
    Result.AskSeconds =
        (CpuSeconds(Usage) - Result.OpenSeconds) * TEN_MB / std::max(static_cast<double>(Bytes.size()), TEN_MB);
    Result.MemoryBytes = static_cast<double>(Usage.ru_maxrss) * 1024;
    return Result;
}

/// The highest of one figure over all mutants, and which it was.
struct WORST {
    double Value = 0;
    QByteArray Name;
    void Take(double Candidate, const QByteArray& Which) {
        if (Candidate > Value) {
            Value = Candidate;
            Name = Which;
        }
    }
};

struct TOTAL {
    WORST Open;   ///< seconds for 10 MB
    WORST Ask;    ///< seconds
    WORST Memory; ///< sizes of the file
    int NumMutants = 0;
    int NumCrashes = 0;
};

void Keep(const QString& sFolder, const QByteArray& Name, const QByteArray& Bytes) {
    QFile File(sFolder + QLatin1Char('/') + QString::fromLatin1(Name));
    if (!sFolder.isEmpty() && File.open(QIODevice::WriteOnly)) {
        File.write(Bytes);
    }
}

void TakeNext(const RESULT& Result, double BaseMemory, double Size, const QByteArray& Name, TOTAL* pTotal) {
    pTotal->NumCrashes += Result.IsCrash;
    ++pTotal->NumMutants;
    pTotal->Open.Take(Result.OpenSeconds * TEN_MB / Size, Name);
    pTotal->Ask.Take(Result.AskSeconds, Name);
    pTotal->Memory.Take((Result.MemoryBytes - BaseMemory) / Size, Name);
}

QByteArray Describe(const RESULT& Result, double BaseMemory, double Size) {
    return QByteArray(Result.IsCrash ? "crash or hang, " : "") + "open " +
           QByteArray::number(Result.OpenSeconds * TEN_MB / Size, 'f', 2) + " s for 10 MB, ask " +
           QByteArray::number(Result.AskSeconds, 'f', 2) + " s, memory of " +
           QByteArray::number((Result.MemoryBytes - BaseMemory) / Size, 'f', 1) + " sizes";
}

void DamageProgram(const PROGRAM& P, U32 Seed, const QString& sKeep, TOTAL* pTotal) {
    constexpr double MIN_MUTANTS = 100;
    constexpr double MAX_MUTANTS = 1200;
    const double Size = std::max(static_cast<double>(P.Bytes.size()), MIN_SIZE);
    const int NumMutants = static_cast<int>(std::clamp(BYTES_DAMAGED / Size, MIN_MUTANTS, MAX_MUTANTS));
    const double Base = Try(P.Bytes, false).MemoryBytes;
    std::fprintf(stderr, "%s: %d mutants; undamaged: %s\n", qPrintable(P.sPath), NumMutants,
                 Describe(Try(P.Bytes, true), Base, Size).constData());
    for (int i = 0; i < NumMutants; ++i) {
        const DAMAGE& Damage = aDamage[static_cast<size_t>(i) % std::size(aDamage)];
        const U32 MutantSeed = Seed + static_cast<U32>(i);
        RANDOM Random(MutantSeed);
        QByteArray Bytes = P.Bytes;
        Damage.pfDamage(P, Random, Damage.sSection, &Bytes);
        const RESULT Result = Try(Bytes, true);
        const QByteArray Name =
            QFileInfo(P.sPath).baseName().toLatin1() + '-' + Damage.sName + '-' + QByteArray::number(MutantSeed);
        TakeNext(Result, Base, Size, Name, pTotal);
        if (Result.IsCrash || Result.OpenSeconds * TEN_MB / Size > GOAL_SECONDS || Result.AskSeconds > GOAL_SECONDS ||
            (Result.MemoryBytes - Base) / Size > GOAL_SIZES) {
            std::fprintf(stderr, "  %s: %s\n", Name.constData(), Describe(Result, Base, Size).constData());
            Keep(sKeep, Name, Bytes);
        }
    }
}

/// A file that is damaged already.
void MeasureFile(const QString& sPath, TOTAL* pTotal) {
    QFile File(sPath);
    if (!File.open(QIODevice::ReadOnly)) {
        return;
    }
    const QByteArray Bytes = File.readAll();
    const double Size = std::max(static_cast<double>(Bytes.size()), MIN_SIZE);
    const double Base = Try(Bytes, false).MemoryBytes;
    const RESULT Result = Try(Bytes, true);
    TakeNext(Result, Base, Size, QFileInfo(sPath).fileName().toLatin1(), pTotal);
    std::fprintf(stderr, "%s: %s\n", qPrintable(sPath), Describe(Result, Base, Size).constData());
}

void Print(const char* sName, const WORST& Worst, const char* sUnit, double Goal) {
    std::fprintf(stderr, "worst of %s: %s\n", sName, Worst.Name.constData());
    std::printf("%s %.2f %s goal %.0f %.2f\n", sName, Worst.Value, sUnit, Goal, Worst.Value / Goal);
}

} // namespace

int main(int argc, char* argv[]) {
    U32 Seed = 1;
    QString sKeep;
    TOTAL Total;
    bool IsAsIs = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            Seed = QByteArray(argv[++i]).toUInt();
        } else if (std::strcmp(argv[i], "--keep") == 0 && i + 1 < argc) {
            sKeep = QString::fromLocal8Bit(argv[++i]);
        } else if (std::strcmp(argv[i], "--as-is") == 0) {
            IsAsIs = true;
        } else if (IsAsIs) {
            MeasureFile(QString::fromLocal8Bit(argv[i]), &Total);
        } else if (PROGRAM P; Load(QString::fromLocal8Bit(argv[i]), &P)) {
            DamageProgram(P, Seed, sKeep, &Total);
        } else {
            std::fprintf(stderr, "%s: can't be opened\n", argv[i]);
        }
    }
    Print("damaged_open_10_MB", Total.Open, "s", GOAL_SECONDS);
    Print("damaged_ask", Total.Ask, "s", GOAL_SECONDS);
    Print("damaged_memory", Total.Memory, "sizes", GOAL_SIZES);
    std::printf("damaged_mutants %d files - - -\n", Total.NumMutants);
    std::printf("damaged_crashes %d files - - -\n", Total.NumCrashes);
    return Total.NumMutants == 0 || Total.NumCrashes != 0;
}
