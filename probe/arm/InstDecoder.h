#pragma once
// The library's instruction decoder: length and flow classes of an instruction in A32 or T32, for each architecture
// that the device table has cores of. Pure functions; any thread.

#include "probe/novik.h"

#include <cstdint>

namespace Arm {

// The EArch of a core identifier, 0 for an unknown one.
uint16_t ArchOfCore(uint32_t Core);
bool IsMProfile(uint16_t Arch);
// Classify an instruction; the result is its length, 0 if the bits are none.
int DecodeA32(uint32_t Word, uint16_t Arch, NOVIK_INST_INFO& Info);
int DecodeT32(uint32_t Addr, uint16_t First, uint16_t Second, uint16_t Arch, NOVIK_INST_INFO& Info);
// The exported decoder for an architecture, null if there is none.
NOVIK_DECODER* GetDecoder(uint16_t Arch);

} // namespace Arm
