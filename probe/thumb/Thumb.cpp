#include "probe/thumb/Thumb.h"

#include "probe/thumb/ThumbTable.h"

namespace Thumb {

CInst Decode(uint32_t Addr, uint16_t First, uint16_t Second, EArch Arch) {
    CInst Inst;
    const bool IsLong = Is32Bit(First);
    const uint32_t Word = IsLong ? uint32_t(First) << 16 | Second : First;
    const CPattern* pRow = IsLong ? Patterns32 : Patterns16;

    Inst.Code = OP_UNDEFINED;
    while (pRow->pfForm && ((Word & pRow->Mask) != pRow->Value || !(pRow->Arch & Arch))) {
        pRow++;
    }
    if (pRow->pfForm) {
        pRow->pfForm(Inst, Word, Addr, pRow->Arg);
    }
    if (Inst.CodeInIT == OP_NOT_DECODED || Inst.Code == OP_UNDEFINED) {
        Inst.CodeInIT = Inst.Code;
    }
    Inst.Len = IsLong ? 4 : 2;
    return Inst;
}

} // namespace Thumb
