// Vector table, memory set-up and the calls of all Cortex-M programs here.
#include "firmware.h"

extern uint32_t StackTop[], DataLoad[], DataStart[], DataEnd[], BssStart[], BssEnd[];

void Finished(void) {
    for (;;) {
    }
}

// Faults are not expected: the program ends here, where the tests see it.
void Fault(void) {
    for (;;) {
    }
}

__attribute__((weak)) void SvcHandler(void) { Fault(); }
__attribute__((weak)) void PendSvHandler(void) { Fault(); }
__attribute__((weak)) void SysTickHandler(void) { Fault(); }
__attribute__((weak)) void Irq0Handler(void) { Fault(); }
__attribute__((weak)) void Irq1Handler(void) { Fault(); }

void Reset(void) {
    // By hand: neither memcpy nor memset may be used before the data is there.
    const volatile uint32_t* pFrom = DataLoad;
    for (volatile uint32_t* p = DataStart; p < DataEnd; p++) {
        *p = *pFrom++;
    }
    for (volatile uint32_t* p = BssStart; p < BssEnd; p++) {
        *p = 0;
    }
#ifdef __ARM_FP
    REG(0xE000ED88) |= 0x00F00000; // CPACR: coprocessors 10 and 11
    __asm volatile("dsb\n isb" ::: "memory");
#endif
    main();
    Finished();
}

__attribute__((section(".vectors"), used)) static void* const Vectors[32] = {
    StackTop, Reset,      Fault, Fault, Fault, Fault,         Fault,          0, 0, 0, 0,
    SvcHandler, Fault, 0, PendSvHandler, SysTickHandler, Irq0Handler, Irq1Handler,
};

// newlib wants these; there is no system below it.
extern char HeapStart[];
void* _sbrk(int Increment) {
    static char* pEnd = HeapStart;
    char* pOld = pEnd;
    pEnd += Increment;
    return pOld;
}
int _write(int File, const char* pData, int Count) { return Count; }
int _read(int File, char* pData, int Count) { return 0; }
int _close(int File) { return -1; }
int _lseek(int File, int Offset, int Whence) { return 0; }
int _fstat(int File, void* pStat) { return -1; }
int _isatty(int File) { return 1; }
int _kill(int Pid, int Signal) { return -1; }
int _getpid(void) { return 1; }
void _exit(int Code) {
    Finished();
    for (;;) {
    }
}
