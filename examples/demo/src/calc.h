#pragma once
#include <stdint.h>

// n-th Fibonacci number, recursively: each level is a frame of the call stack.
uint32_t Calc_Fibonacci(uint32_t n);

// Puts the Count values of pValues into ascending order.
void Calc_Sort(int32_t* pValues, uint32_t Count);

// CRC-32 (polynomial 0xEDB88320) of NumBytes bytes.
uint32_t Calc_Crc32(const void* pData, uint32_t NumBytes);
