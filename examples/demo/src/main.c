// Demo program: shows something in each window of the debugger.
#include "calc.h"
#include "shapes.h"
#include "tick.h"

#define NUM_VALUES 8

volatile uint32_t LoopCounter;
uint32_t Checksum;
uint32_t TotalArea;
uint32_t Fibonacci;
int32_t Values[NUM_VALUES];

static void FillValues(uint32_t Seed) {
    for (uint32_t i = 0; i < NUM_VALUES; i++) {
        Seed = Seed * 1103515245u + 12345u;
        Values[i] = (int32_t)(Seed >> 16) % 1000 - 500;
    }
}

static uint32_t SumAreas(void) {
    uint32_t Sum = 0;
    for (int i = 0; i < NUM_SHAPES; i++) {
        Sum += Shape_GetArea(&Shapes[i]);
    }
    return Sum;
}

static void RunOnce(uint32_t Round) {
    FillValues(Round);
    Calc_Sort(Values, NUM_VALUES);
    Checksum = Calc_Crc32(Values, sizeof(Values));
    Shape_MoveAll(Shapes, (int16_t)(Round & 1u ? 1 : -1), 2);
    TotalArea = SumAreas();
    Fibonacci = Calc_Fibonacci(Round % 10u);
}

int main(void) {
    Tick_Init(10000u);
    for (;;) {
        RunOnce(LoopCounter);
        LoopCounter++; // MARK: loop
    }
}
