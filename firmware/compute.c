// Integer work of all kinds and newlib: what compilers make of ordinary programs.
#include "firmware.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

volatile uint32_t Sink;
static uint32_t Seed = 12345;

static uint32_t Random(void) {
    Seed = Seed * 1664525u + 1013904223u;
    return Seed ^ Seed >> 15;
}

static void Wide(void) {
    uint64_t Product = 1, Sum = 0;
    int64_t Signed = -1;
    for (int Round = 0; Round < 60; Round++) {
        const uint64_t a = (uint64_t)Random() << 32 | Random();
        const uint32_t b = Random() | 1;
        Product = Product * a + b;
        Sum += a / b + a % b;
        Signed = Signed * (int32_t)b + (int64_t)(a >> (b & 63)) - (int64_t)(a << (b & 31));
        Signed /= (int32_t)(b >> 3 | 1);
    }
    Sink = (uint32_t)(Product >> 32) ^ (uint32_t)Sum ^ (uint32_t)Signed;
}

struct CBits {
    unsigned a : 3, b : 7, c : 11, d : 11;
    signed e : 5, f : 13, g : 14;
};

static int32_t Clamp(int32_t Value, int32_t Low, int32_t High) {
    return Value < Low ? Low : Value > High ? High : Value;
}

static void Bits(void) {
    struct CBits x = {1, 2, 3, 4, -1, -2, -3};
    for (int Round = 0; Round < 60; Round++) {
        const uint32_t r = Random();
        x.a += r, x.b ^= r >> 3, x.c -= r >> 7, x.d = r >> 11;
        x.e = (int)(r << 1), x.f += (int)r, x.g ^= (int)(r >> 5);
        Sink += (uint32_t)(x.a + x.b * 3 + x.c + x.d + (unsigned)x.e + (unsigned)x.f + (unsigned)x.g);
        Sink ^= (uint32_t)__builtin_clz(r | 1) + __builtin_bswap32(r) + (uint32_t)Clamp((int32_t)r >> 9, -128, 127);
        Sink += (r >> (r & 31) | r << ((32 - r) & 31)) + (uint16_t)r * (int8_t)(r >> 8);
    }
}

#ifdef __ARM_FEATURE_DSP
#define DSP2(Name, a, b)                                                                                               \
    ({                                                                                                                 \
        uint32_t Result;                                                                                               \
        __asm volatile(Name " %0, %1, %2" : "=r"(Result) : "r"(a), "r"(b));                                            \
        Result;                                                                                                        \
    })

static void Saturating(void) {
    for (int Round = 0; Round < 60; Round++) {
        const uint32_t a = Random(), b = Random();
        uint32_t x = DSP2("qadd", a, b) ^ DSP2("qsub", a, b) ^ DSP2("qdadd", a, b) ^ DSP2("qadd16", a, b);
        x ^= DSP2("uqsub8", a, b) ^ DSP2("shadd8", a, b) ^ DSP2("sadd16", a, b) ^ DSP2("sel", a, b);
        x ^= DSP2("smuad", a, b) ^ DSP2("smusdx", a, b) ^ DSP2("smulbt", a, b) ^ DSP2("usad8", a, b);
        x ^= DSP2("uxtab16", a, b) ^ DSP2("smmul", a, b) ^ DSP2("uasx", a, b) ^ DSP2("pkhbt", a, b);
        __asm volatile("ssat16 %0, #7, %0\n usat %0, #9, %0, lsl #3\n mrs %0, apsr" : "+r"(x));
        Sink ^= x;
        __asm volatile("msr apsr_nzcvqg, %0" ::"r"(0));
    }
}
#else
static void Saturating(void) {
}
#endif

static int Compare(const void* pA, const void* pB) {
    const int32_t a = *(const int32_t*)pA, b = *(const int32_t*)pB;
    return (a > b) - (a < b);
}

static void Library(void) {
    static char s[160];
    static int32_t Values[40];
    for (int Index = 0; Index < 40; Index++) {
        Values[Index] = (int32_t)Random();
    }
    qsort(Values, 40, sizeof(Values[0]), Compare);
    const double x = strtod("-1.2345678901234567e-12", 0) + strtod("3.14159", 0) * (double)Values[3];
    snprintf(s, sizeof(s), "%d %08x %s %c %lld %5.3f %g %e", (int)Values[0], (unsigned)Values[1], "text", 'c',
             (long long)Values[2] * Values[3], x / 1e9, x, x * 1e-30);
    Sink += (uint32_t)strlen(s) + (uint32_t)strtol(s, 0, 10) + (uint32_t)atoi("  -42");
    memmove(s + 7, s + 3, 60);
    Sink += (uint32_t)memcmp(s, s + 9, 30) + (uint32_t)(strchr(s, ' ') - s) + (uint32_t)(strstr(s, "xt") != 0);
}

static void Maths(void) {
    for (int Round = 1; Round < 6; Round++) {
        const double x = (double)(int32_t)Random() / 1e6;
        const double y = sin(x) + cos(x) * exp(-fabs(x) / 100) + sqrt(fabs(x)) + log(fabs(x) + 1) + atan2(x, Round);
        const float f = sinf((float)x) + powf(1.5f, (float)Round) + fmodf((float)x, 3.0f) + floorf((float)y);
        Sink ^= (uint32_t)(int32_t)(y * 1000) + (uint32_t)(int32_t)(f * 1000);
    }
}

int main(void) {
    for (int Round = 0; Round < ROUNDS; Round++) {
        Wide();
        Bits();
        Saturating();
        Library();
        Maths();
    }
    return 0;
}
