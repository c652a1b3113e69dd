// S-record files.

#include "fuzz/DataFileInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) { return ReadInputAs("srec", pData, Size); }
