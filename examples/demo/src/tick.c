// The system timer: the program's only interrupt.
#include "tick.h"

#define SYST_CSR (*(volatile uint32_t*)0xE000E010u)
#define SYST_RVR (*(volatile uint32_t*)0xE000E014u)
#define SYST_CVR (*(volatile uint32_t*)0xE000E018u)

volatile uint32_t TickCounter;

void Tick_Init(uint32_t CyclesPerTick) {
    SYST_RVR = CyclesPerTick - 1u;
    SYST_CVR = 0u;
    SYST_CSR = 7u; // processor clock, interrupt, enable
}

void SysTick_Handler(void) {
    TickCounter++; // MARK: tick
}
