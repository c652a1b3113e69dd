#pragma once
// The pattern table behind the decoder.

#include "probe/thumb/Thumb.h"

namespace Thumb {

struct CPattern {
    uint32_t Mask;
    uint32_t Value;
    uint8_t Arch;                                                      // set of EArch
    void (*pfForm)(CInst& I, uint32_t w, uint32_t Addr, uint32_t Arg); // fills in code and operands
    uint32_t Arg;
};

// Form of all coprocessor 10 and 11 instructions (ThumbVfp.cpp).
void Vfp(CInst& I, uint32_t w, uint32_t Addr, uint32_t Arg);

// Each ends with a row without a form.
extern const CPattern Patterns16[];
extern const CPattern Patterns32[];

} // namespace Thumb
