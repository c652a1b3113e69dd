// Frames, loops, branches and inlining for the comparisons with the binary tools.
#include "mixed.h"

volatile int Sink;
int aTable[64];

int Leaf(int a, int b) { return a * b + 1; }

__attribute__((noinline)) int Deep(int n) {
    int aLocal[16];
    for (int i = 0; i < 16; ++i) {
        aLocal[i] = Clamp(i * n, 40);
    }
    return n > 0 ? Deep(n - 1) + aLocal[n & 15] : aLocal[3];
}

__attribute__((noinline)) int Dynamic(int n) {
    int aData[n + 1];
    for (int i = 0; i <= n; ++i) {
        aData[i] = Leaf(i, n);
    }
    Sink = aData[n];
    return aData[0];
}

__attribute__((noinline)) int Switch(int Kind, long long Wide) {
    switch (Kind) {
    case 0:
        return (int)(Wide >> 32);
    case 1:
        return Deep(3);
    case 2:
        return Dynamic(4);
    case 3:
        return aTable[Wide & 63];
    default:
        return -1;
    }
}

int Many(int a, int b, int c, int d, int e, int f) {
    __builtin_va_list Args;
    (void)Args;
    return Switch(a, b) + Switch(c, d) + e * f;
}

int Variadic(int Num, ...) {
    __builtin_va_list Args;
    __builtin_va_start(Args, Num);
    int Sum = 0;
    while (Num-- > 0) {
        Sum += __builtin_va_arg(Args, int);
    }
    __builtin_va_end(Args);
    return Sum;
}

void Unused(void) { Sink = 99; }

int _start(void) {
    for (int i = 0; i < 5; ++i) {
        Sink = Many(i, i + 1, i + 2, i + 3, i + 4, i + 5) + Variadic(2, 3, 4);
    }
    return 0;
}
