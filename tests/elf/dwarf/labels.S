@ Assembler code with a function that is declared as one, and labels that aren't.
    .syntax unified
    .thumb
    .section .text.labels, "ax", %progbits
    .global AsmEntry
    .type AsmEntry, %function
AsmEntry:
    push {lr}
    bl AsmHelper
    pop {pc}
    .size AsmEntry, . - AsmEntry
AsmHelper:
    movs r0, #1
AsmLoop:
    subs r0, #1
    bne AsmLoop
    bx lr
    .section .note.GNU-stack, "", %progbits
