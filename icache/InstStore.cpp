#include "icache/InstStore.h"

#include "elf/ElfApi.h"
#include "icache/InstClass.h"

#include <QHash>
#include <algorithm>
#include <memory>
#include <mutex>

namespace {

constexpr int ENCODING_BE32 = 3; ///< ElfApi_GetDataEncoding(): the image's instructions are big-endian
constexpr qsizetype MNEMONIC_WIDTH = 12;
constexpr U32 LAST_ADDR = 0xFFFFFFFF;

struct STORE {
    std::mutex HookMutex;
    std::shared_ptr<const ICACHE_HOOKS> pHooks = std::make_shared<ICACHE_HOOKS>();
    std::mutex TextMutex;
    QHash<U32, QByteArray> Texts;
};

STORE& GetStore() {
    static STORE Store;
    return Store;
}

std::shared_ptr<const ICACHE_HOOKS> GetHooks() {
    std::lock_guard Lock(GetStore().HookMutex);
    return GetStore().pHooks;
}

ICACHE_CONFIG GetConfig() {
    const auto pHooks = GetHooks();
    return pHooks->fConfig ? pHooks->fConfig() : ICACHE_CONFIG();
}

ICACHE_MODE_RANGE ModeRange() {
    const auto pHooks = GetHooks();
    return pHooks->fModeRange ? pHooks->fModeRange() : ICACHE_MODE_RANGE();
}

bool IsInRange(U32 Addr, const ICACHE_MODE_RANGE& Range) { return Addr >= Range.Start && Addr < Range.End; }

U16 ReadHalfWord(const U8* pBytes, bool IsBig) {
    return U16(IsBig ? (pBytes[0] << 8) | pBytes[1] : (pBytes[1] << 8) | pBytes[0]);
}

// Reads instruction bytes and tells their byte order.
bool ReadInst(U32 Addr, U32 Size, U8* pBytes, bool* pIsBig) {
    if (ElfApi_ReadMem(Addr, Size, pBytes) == 0) {
        *pIsBig = ElfApi_GetDataEncoding() == ENCODING_BE32;
        if (*pIsBig) {
            std::reverse(pBytes, pBytes + Size); // the image gives numbers in host order
        }
        return true;
    }
    const auto pHooks = GetHooks();
    *pIsBig = GetConfig().InstEndian != 0;
    return pHooks->fReadMem && pHooks->fReadMem(Addr, Size, pBytes) == 0;
}

// Opcode bits with the mode that decides how two halfwords are put together.
I64 ReadBits(U32 Addr, U32 Size, bool IsArm) {
    U8 aBytes[4] = {};
    bool IsBig = false;
    if ((Size != 2 && Size != 4) || Addr > LAST_ADDR - Size || !ReadInst(Addr, Size, aBytes, &IsBig)) {
        return -1;
    }
    const U32 First = ReadHalfWord(aBytes, IsBig);
    if (Size == 2) {
        return First;
    }
    const U32 Second = ReadHalfWord(aBytes + 2, IsBig);
    return IsArm && IsBig ? I64((First << 16) | Second) : I64(First | (Second << 16));
}

U32 DecodedThumbSize(U32 Addr) {
    const I64 HalfWord = ReadBits(Addr, 2, false);
    return HalfWord < 0 ? 2 : ThumbInstSize(U32(HalfWord));
}

// Both halves of a 32-bit form are read whatever the instruction set makes of it: early cores have calls of two halves.
ICACHE_INST DecodeInMode(U32 Addr, U32 Mode) {
    const auto pHooks = GetHooks();
    const bool IsArm = Mode == ICACHE_MODE_ARM;
    I64 Bits = ReadBits(Addr, IsArm ? 4 : DecodedThumbSize(Addr), IsArm);
    if (!pHooks->fDecode || Bits < 0) {
        return {};
    }
    U8 aBytes[4];
    for (U8& Byte : aBytes) {
        Byte = U8(Bits);
        Bits >>= 8;
    }
    return pHooks->fDecode(Addr, aBytes, Mode);
}

U32 SizeInMode(U32 Addr, U32 Mode, U32 InstSet) {
    if (Mode == ICACHE_MODE_ARM) {
        return 4;
    }
    if (InstSet == 1) {
        return DecodeInMode(Addr, ICACHE_MODE_THUMB).Length == 4 ? 4 : 2;
    }
    return DecodedThumbSize(Addr);
}

template <class TEST> bool GetTest(U32 Addr, TEST&& Test) {
    const bool IsArm = ICACHE_GetMode(Addr) == ICACHE_MODE_ARM;
    const U32 Size = ICACHE_GetInstSize(Addr);
    const I64 Op = ReadBits(Addr, Size, IsArm);
    return Op >= 0 && Test(U32(Op), IsArm, Size);
}

} // namespace

void ICACHE_Reset(const ICACHE_HOOKS& Hooks) {
    {
        std::lock_guard Lock(GetStore().HookMutex);
        GetStore().pHooks = std::make_shared<ICACHE_HOOKS>(Hooks);
    }
    ICACHE_ClearInstTexts();
}

U32 ICACHE_GetMode(U32 Addr) {
    const U32 Kind = ElfApi_GetMemRegionKind(Addr);
    if (Kind == ICACHE_REGION_ARM || Kind == ICACHE_REGION_THUMB) {
        return Kind;
    }
    return ModeRange().Mode == ICACHE_MODE_ARM ? ICACHE_MODE_ARM : ICACHE_MODE_THUMB;
}

U32 ICACHE_GetInstSize(I64 Addr) {
    if (Addr < 0 || Addr > I64(LAST_ADDR)) {
        return 0;
    }
    U32 Lo = 0;
    U32 Hi = 0;
    const U32 Kind = ElfApi_GetMemRegionKind(U32(Addr), &Lo, &Hi);
    if (Kind == ICACHE_REGION_DATA && Hi > U32(Addr)) {
        return Hi - U32(Addr) < 4 ? 2 : 4;
    }
    const ICACHE_CONFIG Config = GetConfig();
    if (Config.InstSet == 0) {
        return 4;
    }
    const ICACHE_MODE_RANGE Range = ModeRange();
    const bool IsByMode = IsInRange(U32(Addr), Range) || (Kind != ICACHE_REGION_ARM && Kind != ICACHE_REGION_THUMB);
    const U32 Size = SizeInMode(U32(Addr), IsByMode ? Range.Mode : Kind, Config.InstSet);
    return ICACHE_CorrectInstSize(U32(Addr), Size);
}

U32 ICACHE_CorrectInstSize(U32 Addr, U32 Size) {
    if (Size < 3 || Addr > LAST_ADDR - 2) {
        return Size;
    }
    const U32 Kind = ElfApi_GetMemRegionKind(Addr);
    const U32 NextKind = ElfApi_GetMemRegionKind(Addr + 2);
    return Kind && NextKind && Kind != NextKind ? 2 : Size;
}

I64 ICACHE_GetInstBits(U32 Addr, U32 Size) { return ReadBits(Addr, Size, ICACHE_GetMode(Addr) == ICACHE_MODE_ARM); }

bool ICACHE_IsSemihostingTrap(U32 Addr) { return GetTest(Addr, InstIsSemihostingTrap); }

bool ICACHE_IsBreakpointInst(U32 Addr, U32* pSize) {
    return GetTest(Addr, [pSize](U32 Op, bool IsArm, U32 Size) {
        *pSize = Size;
        return InstIsBreakpoint(Op, IsArm, Size);
    });
}

ICACHE_INST ICACHE_Decode(U32 Addr) { return DecodeInMode(Addr, ICACHE_GetMode(Addr)); }

bool ICACHE_HasBranchInRange(U32 Start, U32 End) {
    for (U64 Addr = Start; Addr < End;) {
        const U32 Size = ICACHE_GetInstSize(I64(Addr));
        const bool IsData = ElfApi_GetMemRegionKind(U32(Addr)) == ICACHE_REGION_DATA;
        const ICACHE_INST Inst = IsData ? ICACHE_INST() : ICACHE_Decode(U32(Addr));
        const bool IsKnown = IsData || Inst.Length != 0;
        if (!IsKnown || (Inst.IsBranch && !Inst.IsCall) || (!IsData && ICACHE_IsSemihostingTrap(U32(Addr)))) {
            return true;
        }
        Addr += Size ? Size : 2;
    }
    return false;
}

QByteArray ICACHE_GetInstText(U32 Addr) {
    std::lock_guard Lock(GetStore().TextMutex);
    return GetStore().Texts.value(Addr);
}

void ICACHE_SetInstText(I64 Addr, const QByteArray& sText) {
    if (Addr < 0 || Addr > I64(LAST_ADDR) || sText.isEmpty()) {
        return;
    }
    QByteArray sPadded = sText;
    if (const qsizetype Blank = sText.indexOf(' '); Blank >= 0) {
        sPadded = sText.left(Blank).trimmed().leftJustified(MNEMONIC_WIDTH, ' ') + sText.mid(Blank).trimmed();
    }
    if (const qsizetype Comment = sPadded.indexOf(';'); Comment >= 0) {
        sPadded.truncate(Comment);
    }
    std::lock_guard Lock(GetStore().TextMutex);
    if (!GetStore().Texts.contains(U32(Addr))) {
        GetStore().Texts.insert(U32(Addr), sPadded);
    }
}

void ICACHE_ClearInstTexts() {
    std::lock_guard Lock(GetStore().TextMutex);
    GetStore().Texts.clear();
}
