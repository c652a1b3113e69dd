// A program file: opens it and asks everything of it, before and after it is relocated. The first bytes are also
// evaluated as a location expression.

#include "elf/DwarfExpr.h"
#include "fuzz/AskElf.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr U32 NUM_ASKED = 60;
constexpr U32 NUM_ASKED_AFTER = 10; ///< after the relocation

int Zero(void*, U32, U64* pValue) {
    *pValue = 0;
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) {
    constexpr size_t MAX_EXPR = 256;
    ELF_EXPR_ENV Env;
    Env.pfReadReg = Zero;
    ELF_EvalExpr(pData, static_cast<U32>(Size < MAX_EXPR ? Size : MAX_EXPR), Env);
    const int File = memfd_create("input", 0);
    if (File < 0 || write(File, pData, Size) != static_cast<ssize_t>(Size)) {
        return 0;
    }
    if (ElfApi_Init(QStringLiteral("/proc/self/fd/%1").arg(File)) == 0) {
        AskElf(NUM_ASKED);
        ElfApi_RelocateSymbols(QStringLiteral(".text"), 0x100);
        ElfApi_RelocateSymbols(QStringLiteral("*"), -0x200);
        AskElf(NUM_ASKED_AFTER);
    }
    ElfApi_Deinit();
    close(File);
    return 0;
}
