#pragma once
#include <stdint.h>

// Number of SysTick interrupts since Tick_Init.
extern volatile uint32_t TickCounter;

// Starts an interrupt every CyclesPerTick CPU cycles, at most 2^24.
void Tick_Init(uint32_t CyclesPerTick);
