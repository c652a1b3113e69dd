// The script interpreter: loads a text and runs each event function that it defines.

#include "script/Trans.h"

#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <sys/time.h>

namespace {

struct HEAP {
    alignas(16) U8 aByte[SCRIPT_HEAP_SIZE];
};

CTrans* volatile pRunning;
constexpr int MAX_RUN_US = 20'000; ///< a script may loop for ever: then it is stopped as by its user

void Stop(int) {
    if (CTrans* pTrans = pRunning) {
        pTrans->DoStop = 1;
    }
}

I32 Result(const I64* paArgs, U32 NumArgs) { return NumArgs > 0 ? static_cast<I32>(paArgs[0]) : 1; }

/// As a command that takes a text: reads it as the program does, within the heap.
I32 TakeText(const I64* paArgs, U32) {
    const auto* pHeap = reinterpret_cast<const char*>(pRunning);
    const auto* sText = reinterpret_cast<const char*>(paArgs[0]);
    if (sText < pHeap || sText >= pHeap + SCRIPT_HEAP_SIZE) {
        return -1;
    }
    const void* pEnd = std::memchr(sText, 0, static_cast<size_t>(pHeap + SCRIPT_HEAP_SIZE - sText));
    return pEnd != nullptr ? static_cast<I32>(static_cast<const char*>(pEnd) - sText) : -1;
}

void Register(CTrans* pTrans) {
    TransAddConstant(pTrans, "VAR_RESET_MODE", 0);
    TransAddConstant(pTrans, "FREQ_1_MHZ", 1'000'000);
    TransAddApiFunction(pTrans, "__api__ int Target.ReadU32 (unsigned int Address);", Result);
    TransAddApiFunction(pTrans, "__api__ int Debug.Start (void);", Result);
    TransAddApiFunction(pTrans, "__api__ int Util.Log (const char* sText);", TakeText);
    TransAddApiFunction(pTrans, "__api__ int Project.SetHostIF (const char* sHostIF, const char* sIdent);", TakeText);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size) {
    static const auto pHeap = std::make_unique<HEAP>();
    static const bool IsSet = std::signal(SIGALRM, Stop) != SIG_ERR;
    const std::string Text(reinterpret_cast<const char*>(pData), Size);
    CTrans* pTrans = TransInit(pHeap.get(), Text.c_str());
    if (pTrans == nullptr || !IsSet) {
        return 0;
    }
    pRunning = pTrans;
    Register(pTrans);
    const itimerval Limit = {{0, MAX_RUN_US}, {0, MAX_RUN_US}};
    setitimer(ITIMER_REAL, &Limit, nullptr);
    if (TransParse(pTrans) == 0) {
        for (const char* sName : {"OnProjectLoad", "TargetReset", "DebugStart", "f"}) {
            TransRunFunction(pTrans, sName);
        }
    }
    const itimerval None = {};
    setitimer(ITIMER_REAL, &None, nullptr);
    pRunning = nullptr;
    return 0;
}
