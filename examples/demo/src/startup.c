// Vector table and start-up code of a Cortex-M with its exceptions only.
#include <stdint.h>

extern uint32_t _DataLoad, _DataStart, _DataEnd, _BssStart, _BssEnd, _StackTop;
extern int main(void);

void Reset_Handler(void);
void Fault_Handler(void);
void Default_Handler(void);
void SysTick_Handler(void);
void SVC_Handler(void) __attribute__((weak, alias("Default_Handler")));
void PendSV_Handler(void) __attribute__((weak, alias("Default_Handler")));

typedef void (*VECTOR)(void);

__attribute__((section(".vectors"), used)) static const VECTOR Vectors[16] = {
    (VECTOR)&_StackTop, Reset_Handler, Default_Handler, Fault_Handler, Fault_Handler,   Fault_Handler,
    Fault_Handler,      0,             0,               0,             0,               SVC_Handler,
    Default_Handler,    0,             PendSV_Handler,  SysTick_Handler,
};

// Copies initialised data, clears the rest and runs the program.
void Reset_Handler(void) {
    const uint32_t* pSrc = &_DataLoad;
    for (uint32_t* pDst = &_DataStart; pDst < &_DataEnd;) {
        *pDst++ = *pSrc++;
    }
    for (uint32_t* pDst = &_BssStart; pDst < &_BssEnd;) {
        *pDst++ = 0;
    }
    main();
    for (;;) {
    }
}

// Stays here, so that the call stack shows where the fault came from.
void Fault_Handler(void) {
    for (;;) {
    }
}

void Default_Handler(void) {
    for (;;) {
    }
}
