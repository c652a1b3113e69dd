// Work for the processor: recursion, nested loops, bit operations.
#include "calc.h"

uint32_t Calc_Fibonacci(uint32_t n) {
    if (n < 2u) {
        return n; // MARK: recursion end
    }
    return Calc_Fibonacci(n - 1u) + Calc_Fibonacci(n - 2u);
}

void Calc_Sort(int32_t* pValues, uint32_t Count) {
    for (uint32_t i = 1; i < Count; i++) {
        int32_t Value = pValues[i];
        uint32_t j = i;
        while (j > 0u && pValues[j - 1u] > Value) {
            pValues[j] = pValues[j - 1u];
            j--;
        }
        pValues[j] = Value;
    }
}

uint32_t Calc_Crc32(const void* pData, uint32_t NumBytes) {
    const uint8_t* pByte = pData;
    uint32_t Crc = 0xFFFFFFFFu;

    while (NumBytes-- > 0u) {
        Crc ^= *pByte++;
        for (int Bit = 0; Bit < 8; Bit++) {
            Crc = (Crc >> 1) ^ (0xEDB88320u & (0u - (Crc & 1u)));
        }
    }
    return ~Crc;
}
