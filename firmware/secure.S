// Secure state of a board with the security extension (the layout of the MPS2 FPGA image for the Cortex-M33): opens all
// memory and the FPU to the non-secure state and starts the program whose vector table is at 0x00010000 there.
    .syntax unified
    .thumb
    .section .vectors, "a"
    .word 0x38001000
    .word Start + 1
    .zero 56

    .text
    .global Start
    .thumb_func
Start:
    // Memory protection controllers of the program memory and the two RAMs: all blocks non-secure but the first 32 KB
    // of program memory, where this runs.
    ldr r0, =0x58007000
    movs r2, #1
    bl Open
    ldr r0, =0x58008000
    movs r2, #0
    bl Open
    ldr r0, =0x58009000
    movs r2, #0
    bl Open
    ldr r0, =0xE000EDD0     // SAU_CTRL: ALLNS
    movs r1, #2
    str r1, [r0]
    ldr r0, =0xE000ED0C     // AIRCR: BFHFNMINS, so that faults are the program's own
    ldr r1, =0x05FA2000
    str r1, [r0]
    ldr r0, =0xE000ED8C     // NSACR: coprocessors 10 and 11
    ldr r1, =0x00000C00
    str r1, [r0]
    ldr r0, =0xE000E380     // NVIC_ITNS: the first interrupts
    ldr r1, =0xFFFFFFFF
    str r1, [r0]
    ldr r0, =0xE002ED08     // VTOR of the non-secure state
    ldr r1, =0x00010000
    str r1, [r0]
    dsb
    isb
    ldr r2, [r1]
    msr msp_ns, r2
    ldr r1, [r1, #4]
    movs r2, #1
    bics r1, r2
    movs r0, #0
    mov lr, r0
    bxns r1

Open:
    ldr r3, [r0, #0x10]     // BLK_MAX
    movs r1, #0
    mvns r1, r1
1:  str r2, [r0, #0x18]     // BLK_IDX
    str r1, [r0, #0x1C]     // BLK_LUT
    adds r2, #1
    cmp r2, r3
    bls 1b
    bx lr
    .ltorg
