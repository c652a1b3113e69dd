// T32 instructions that change the flow of the program, and those that the simulator's table doesn't hold: the ones of
// ARMv7-A and ARMv7-R only, of the security extension and of ARMv8.1-M. After the ARMv7-A and R, ARMv7-M and ARMv8-M
// Architecture Reference Manuals.
#include "probe/arm/InstTable.h"

namespace Arm {

const CRow Thumb16Rows[] = {
    {0xFF87, 0x4487, ANY_ARCH, FLOW_INDIRECT}, // ADD PC, register
    {0xFF87, 0x4687, ANY_ARCH, FLOW_MOV_PC},
    {0xFF80, 0x4700, ANY_ARCH, FLOW_BX},                          // also BXNS
    {0xFF80, 0x4780, ANY_ARCH, FLOW_CALL_REG},                    // also BLXNS
    {0xF500, 0xB100, FROM_V7 | ANY_MAIN | ANY_V8M, FLOW_JUMP_IF}, // CBZ, CBNZ
    {0xFFF7, 0xB650, FROM_V6, FLOW_NONE},                         // SETEND
    {0xFFE8, 0xB660, FROM_V6, FLOW_NONE},                         // CPS with the A bit
    {0xFFC0, 0xBA80, FROM_V7, FLOW_NONE},                         // HLT
    {0xFF00, 0xBD00, ANY_ARCH, FLOW_POP_PC},
    {0xFF0F, 0xBF00, ANY_ARCH, FLOW_NONE}, // hints
    {0xFF00, 0xBF00, FROM_V7 | ANY_MAIN, FLOW_IT},
    {0xFF00, 0xDE00, ANY_ARCH, FLOW_NONE}, // UDF, an instruction by its name
    {0xFF00, 0xDF00, ANY_ARCH, FLOW_NONE}, // SVC
    {0xF000, 0xD000, ANY_ARCH, FLOW_JUMP_IF},
    {0xF800, 0xE000, ANY_ARCH, FLOW_JUMP},
    {0, 0, ANY_ARCH, FLOW_UNDEFINED},
};

const CRow Thumb32Rows[] = {
    {0xFFFF2000, 0xE89F0000, M_V8, FLOW_NONE}, // CLRM
    {0xFFD08000, 0xE8908000, FROM_V7 | ANY_MAIN, FLOW_LOAD_LIST},
    {0xFFD08000, 0xE9108000, FROM_V7 | ANY_MAIN, FLOW_LOAD_LIST},
    {0xFFD0FFFF, 0xE810C000, FROM_V7, FLOW_EXC_RETURN},          // RFEDB
    {0xFFD0FFFF, 0xE990C000, FROM_V7, FLOW_EXC_RETURN},          // RFEIA
    {0xFFDFFFE0, 0xE80DC000, FROM_V7, FLOW_NONE},                // SRSDB
    {0xFFDFFFE0, 0xE98DC000, FROM_V7, FLOW_NONE},                // SRSIA
    {0xFFFFFFFF, 0xE97FE97F, ANY_V8M, FLOW_NONE},                // SG
    {0xFFF0F03F, 0xE840F000, ANY_V8M, FLOW_NONE},                // TT, TTT, TTA, TTAT
    {0xFFF0FFE0, 0xE8D0F000, FROM_V7 | ANY_MAIN, FLOW_INDIRECT}, // TBB, TBH
    {0xFFF000FF, 0xE8D0007F, FROM_V7, FLOW_NONE},                // LDREXD
    {0xFFF000F0, 0xE8C00070, FROM_V7, FLOW_NONE},                // STREXD
    {0xFF70F000, 0xF850F000, FROM_V7 | ANY_MAIN, FLOW_LOAD},
    {0xFFF00000, 0xEA500000, M_V8, FLOW_NONE}, // CSEL and its kin, long shifts, ORRS
    // Loops and branches
    {0xFFFFF001, 0xF00FC001, M_V8, FLOW_JUMP_IF}, // LE
    {0xFFFFF001, 0xF02FC001, M_V8, FLOW_JUMP},    // LE without a counter
    {0xFFFFF001, 0xF01FC001, M_V8, FLOW_JUMP_IF}, // LETP
    {0xFF80F001, 0xF000C001, M_V8, FLOW_JUMP_IF}, // WLS, WLSTP
    {0xF800F001, 0xF000E001, M_V8, FLOW_NONE},    // DLS, DLSTP, LCTP, announced branches
    {0xF800D001, 0xF000C000, FROM_V5, FLOW_CALL}, // BLX
    {0xF800D000, 0xF000D000, ANY_ARCH, FLOW_CALL},
    {0xF800D000, 0xF0009000, FROM_V7 | ANY_MAIN | ANY_V8M, FLOW_JUMP},
    {0xFFF0FFFF, 0xF3C08F00, FROM_V7, FLOW_INDIRECT},   // BXJ
    {0xFFFFFF00, 0xF3DE8F00, FROM_V7, FLOW_EXC_RETURN}, // SUBS PC, LR and ERET
    {0xFFE0F0FF, 0xF3808000, FROM_V7, FLOW_NONE},       // MSR
    {0xFFE0F0EF, 0xF3808020, FROM_V7, FLOW_NONE},       // MSR of a banked register
    {0xFFEFF0FF, 0xF3EF8000, FROM_V7, FLOW_NONE},       // MRS
    {0xFFE0F0EF, 0xF3E08020, FROM_V7, FLOW_NONE},       // MRS of a banked register
    {0xFFFFF800, 0xF3AF8000, FROM_V7, FLOW_NONE},       // CPS, hints
    {0xFFFFFFFC, 0xF78F8000, FROM_V7, FLOW_NONE},       // DCPS
    {0xFFF0F000, 0xF7E08000, FROM_V7, FLOW_NONE},       // HVC
    {0xFFF0F000, 0xF7F08000, FROM_V7, FLOW_NONE},       // SMC
    {0xFFF0F000, 0xF7F0A000, ANY_ARCH, FLOW_NONE},      // UDF
    {0xFB80D000, 0xF3808000, ANY_ARCH, FLOW_UNDEFINED}, // the rest of the system space
    {0xF800D000, 0xF0008000, FROM_V7 | ANY_MAIN, FLOW_JUMP_IF},
    {0xFFE0F0C0, 0xFAC0F080, FROM_V7, FLOW_NONE}, // CRC32, CRC32C
    // Coprocessors, floating point and vectors
    {0xFF100000, 0xF9000000, FROM_V7, FLOW_NONE}, // vector element and structure loads and stores
    {0xEC000000, 0xEC000000, FROM_V7 | ANY_MAIN, FLOW_NONE},
    {0, 0, ANY_ARCH, FLOW_UNDEFINED},
};

} // namespace Arm
