#pragma once
// Registers of the debug units in the system space, by address. CPU thread, or another one while it is parked.

#include <cstdint>

namespace Sim {

struct CCpu;

// True if Addr is one of the NumWords words from First on.
inline bool IsIn(uint32_t Addr, uint32_t First, uint32_t NumWords) { return Addr - First < NumWords * 4; }

uint32_t ReadDwt(const CCpu& C, uint32_t Addr);
void WriteDwt(CCpu& C, uint32_t Addr, uint32_t Value);
uint32_t ReadDebug(const CCpu& C, uint32_t Addr);
void WriteDebug(CCpu& C, uint32_t Addr, uint32_t Value);
uint32_t ReadItm(const CCpu& C, uint32_t Addr);
void WriteItm(CCpu& C, uint32_t Addr, uint32_t Value, uint32_t Size);
uint32_t ReadFpb(const CCpu& C, uint32_t Addr);
void WriteFpb(CCpu& C, uint32_t Addr, uint32_t Value);

} // namespace Sim
