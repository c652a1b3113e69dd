// What the speed is measured with: a checksum, a sort and a matrix product, of integers or (FLOATS) of floats, again
// and again.
#include "firmware.h"

volatile uint32_t Sink;
static uint32_t Table[256], Data[512];

#if FLOATS
typedef float TItem;
#else
typedef int32_t TItem;
#endif
static TItem A[16][16], B[16][16], Product[16][16];

static uint32_t Checksum(const uint8_t* pData, uint32_t Count) {
    uint32_t Crc = ~0u;
    while (Count-- > 0) {
        Crc = Crc >> 8 ^ Table[(Crc ^ *pData++) & 0xFF];
    }
    return ~Crc;
}

static void Sort(void) {
    for (uint32_t Gap = 121; Gap > 0; Gap /= 3) {
        for (uint32_t Index = Gap; Index < 512; Index++) {
            const uint32_t Value = Data[Index];
            uint32_t Place = Index;
            for (; Place >= Gap && Data[Place - Gap] > Value; Place -= Gap) {
                Data[Place] = Data[Place - Gap];
            }
            Data[Place] = Value;
        }
    }
}

static void Multiply(void) {
    for (int Row = 0; Row < 16; Row++) {
        for (int Column = 0; Column < 16; Column++) {
            TItem Sum = 0;
            for (int Index = 0; Index < 16; Index++) {
                Sum += A[Row][Index] * B[Index][Column];
            }
            Product[Row][Column] = Sum;
        }
    }
}

int main(void) {
    uint32_t Seed = 1;
    for (uint32_t Index = 0; Index < 256; Index++) {
        uint32_t Value = Index;
        for (int Bit = 0; Bit < 8; Bit++) {
            Value = Value & 1 ? Value >> 1 ^ 0xEDB88320u : Value >> 1;
        }
        Table[Index] = Value;
        A[Index / 16][Index % 16] = (TItem)(Index % 19) - 9;
        B[Index / 16][Index % 16] = (TItem)(Index % 23) / 4;
    }
    for (;;) {
        for (uint32_t Index = 0; Index < 512; Index++) {
            Data[Index] = Seed = Seed * 1664525u + 1013904223u;
        }
#if FLOATS
        for (int Round = 0; Round < 8; Round++) {
            Multiply();
        }
#else
        Sink = Checksum((const uint8_t*)Data, sizeof(Data));
        Sort();
        Multiply();
#endif
        Sink = (uint32_t)(int32_t)Product[3][5];
        REG(0x2000F000)++; // rounds, where the measurement reads them
    }
}
