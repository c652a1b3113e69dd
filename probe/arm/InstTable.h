#pragma once
// Instruction tables of the library's decoder (entry point NOVIK_FUNC_GET_DECODER): which bit patterns are
// instructions on which cores, and what they do to the flow of the program. The first row that matches wins. Constant
// data; any thread.

#include <cstdint>

namespace Arm {

// Sets of architectures a row exists in.
enum EArch : uint16_t {
    V4T = 1,     // ARMv4T
    V5TE = 2,    // ARMv5TE and ARMv5TEJ
    V6 = 4,      // ARMv6 and ARMv6K
    V7 = 8,      // ARMv7-A and ARMv7-R, with what ARMv8-A added to them
    M_BASE = 16, // ARMv6-M
    M_MAIN = 32, // ARMv7-M
    M_DSP = 256, // ARMv7-M with the DSP extension
    M_V8B = 64,  // ARMv8-M baseline
    M_V8 = 128,  // ARMv8-M mainline, with what ARMv8.1-M added to it
};
constexpr uint16_t FROM_V7 = V7, FROM_V6 = V6 | FROM_V7, FROM_V5 = V5TE | FROM_V6, FROM_V4 = V4T | FROM_V5;
constexpr uint16_t ANY_V8M = M_V8B | M_V8, ANY_MAIN = M_MAIN | M_DSP | M_V8, ANY_M = M_BASE | ANY_MAIN | ANY_V8M;
constexpr uint16_t ANY_ARCH = FROM_V4 | ANY_M;

// What a matching instruction does to the flow of the program.
enum EFlow : uint8_t {
    FLOW_UNDEFINED, // A32: no instruction; T32: the simulator's table knows
    FLOW_NONE,
    FLOW_JUMP,     // to a fixed target
    FLOW_JUMP_IF,  // the same under a condition in the encoding
    FLOW_CALL,     // of a fixed target
    FLOW_CALL_REG, // of the register in bits 0 to 3 (A32) or 3 to 6 (T32, 16 bits)
    FLOW_BX,       // to that register; LR: a return
    FLOW_INDIRECT, // target from a register or a table
    FLOW_EXC_RETURN,
    FLOW_DATA,      // A32 data processing: indirect if the destination, bits 12 to 15, is the PC
    FLOW_MOV_PC,    // T32: MOV PC, register in bits 3 to 6
    FLOW_LOAD,      // load of the register in bits 12 to 15
    FLOW_LOAD_LIST, // load of the registers in bits 0 to 15
    FLOW_POP_PC,
    FLOW_IT,
};

struct CRow {
    uint32_t Mask;
    uint32_t Value;
    uint16_t Arch; // set of EArch
    EFlow Flow;
};

// Each ends with a row of Mask 0, which matches everything. A32: words with condition codes 0 to 14, and 15.
extern const CRow ArmRows[];
extern const CRow ArmUnconditionalRows[];
// T32 instructions that change the flow, and such as the simulator's table (probe/thumb) doesn't hold. 32-bit ones
// have their first halfword in the upper 16 bits.
extern const CRow Thumb16Rows[];
extern const CRow Thumb32Rows[];

} // namespace Arm
