#include "tests/device/FakeProbe.h"

#include "tests/device/FakeStreams.h"

#include <algorithm>
#include <cstring>

namespace {

CFakeProbe* _pFake = nullptr;

using LOCK = std::lock_guard<std::mutex>;

// The scripted answer, else the given one.
int Answer(const char* sName, int Normal, const QString& sArgs = QString()) {
    int Result = Normal;
    _pFake->Call(sName, sArgs, &Result);
    return Result;
}

QString Hex(U32 Value) { return QString::number(Value, 16); }
QString Hex(U32 A, U32 B) { return Hex(A) + ' ' + Hex(B); }

template <class T> int ReadItems(const char* sName, U32 Addr, U32 Count, T* pData, U8* pStatus) {
    LOCK Lock(_pFake->Mutex);
    int Result = 0;
    if (_pFake->Call(sName, Hex(Addr), &Result)) {
        return Result;
    }
    for (U32 i = 0; i < Count; i++) {
        U8 aItem[sizeof(T)];
        bool Ok = _pFake->IsConnected;
        for (U32 Byte = 0; Byte < sizeof(T); Byte++) {
            const U32 At = Addr + i * U32(sizeof(T)) + Byte;
            Ok = Ok && _pFake->Mem.contains(At);
            aItem[Byte] = _pFake->Mem.value(At);
        }
        pStatus[i] = !Ok;
        if (Ok) {
            std::memcpy(pData + i, aItem, sizeof(T));
            Result++;
        }
    }
    return _pFake->IsConnected ? Result : -1;
}

template <class T> int WriteItem(const char* sName, U32 Addr, T Value) {
    LOCK Lock(_pFake->Mutex);
    int Result = 0;
    if (_pFake->Call(sName, Hex(Addr), &Result)) {
        return Result;
    }
    const QByteArray Bytes(reinterpret_cast<const char*>(&Value), sizeof(Value));
    return _pFake->Write(Addr, Bytes) == sizeof(Value) ? 0 : -1;
}

bool IsWidth(I32 Width) { return Width == 0 || Width == 1 || Width == 2 || Width == 4; }

int32_t OnReadMemEx(U32 Addr, U32 NumBytes, void* pData, I32 Width) {
    LOCK Lock(_pFake->Mutex);
    int Result = 0;
    if (_pFake->Call("ReadMemEx", Hex(Addr, NumBytes) + " w" + QString::number(Width), &Result)) {
        return Result;
    }
    if (!_pFake->IsConnected || !IsWidth(Width)) {
        return -1;
    }
    U32 Count = 0;
    for (; Count < NumBytes && _pFake->Mem.contains(Addr + Count); Count++) {
        static_cast<U8*>(pData)[Count] = _pFake->Mem[Addr + Count];
    }
    return int(Count);
}

int32_t OnWriteMemEx(U32 Addr, U32 NumBytes, const void* pData, I32 Width) {
    LOCK Lock(_pFake->Mutex);
    int Result = int(NumBytes);
    if (!_pFake->Call("WriteMemEx", Hex(Addr, NumBytes) + " w" + QString::number(Width), &Result)) {
        const bool Ok = _pFake->IsConnected && IsWidth(Width);
        const QByteArray Bytes(static_cast<const char*>(pData), qsizetype(NumBytes));
        Result = Ok ? int(_pFake->Write(Addr, Bytes)) : -1;
    }
    return Result;
}

int32_t DeviceInfo(int32_t Index, NOVIKARM_DEVICE_INFO* pInfo) {
    if (Index == -1) {
        return 3;
    }
    if (Index < 0 || Index > 2) {
        return -1;
    }
    pInfo->sName = Index == 2 ? "Fake Device 2" : "Fake1";
    pInfo->Core = _pFake->Core;
    pInfo->RAMAddr = 0x20000000;
    return 0;
}

int32_t DeviceIndex(const char* sName) {
    return std::strcmp(sName, "Fake1") == 0 ? 1 : std::strcmp(sName, "Fake Device 2") == 0 ? 2 : -1;
}

int32_t OnExecCommand(const char* sCommand, char* sError, int32_t Size) {
    LOCK Lock(_pFake->Mutex);
    qstrncpy(sError, _pFake->sExecError.constData(), size_t(Size));
    return Answer("ExecCommand", 0, QString::fromUtf8(sCommand));
}

int OnStep() {
    LOCK Lock(_pFake->Mutex);
    U32& PC = _pFake->Regs[NOVIK_REG_PC];
    if (_pFake->Recording.isEmpty()) {
        PC = _pFake->StepPCs.isEmpty() ? PC + 2 : _pFake->StepPCs.takeFirst();
    }
    int Result = 0;
    if (!_pFake->Call("Step", QString(), &Result) && !_pFake->Recording.isEmpty()) {
        Result = _pFake->IsConnected && _pFake->HaltStatus == 1 && _pFake->ReplayStep() ? 0 : -1;
    }
    return Result;
}

template <class LIST> bool Has(const LIST& List, U32 Handle) {
    return std::any_of(List.begin(), List.end(), [Handle](const auto& Item) { return Item.Handle == Handle; });
}

uint32_t SetBP(uint32_t Addr, uint32_t Flags) {
    LOCK Lock(_pFake->Mutex);
    static U32 NextHandle = 100;
    const bool HasRoom = _pFake->NumUnits == 0 || _pFake->BPs.size() < _pFake->NumUnits;
    const bool Works = HasRoom && _pFake->IsConnected;
    const U32 Handle = U32(Answer("SetBPEx", Works ? int(NextHandle++) : 0, Hex(Addr, Flags)));
    if (Handle) {
        _pFake->BPs.append({Handle, Addr, Flags});
    }
    return Handle;
}

int32_t ClrBP(uint32_t Handle) {
    LOCK Lock(_pFake->Mutex);
    const bool IsKnown = Handle == NOVIK_HANDLE_ALL || Has(_pFake->BPs, Handle);
    const int Result =
        Answer("ClrBPEx", IsKnown && _pFake->IsConnected ? 0 : -1, Handle == NOVIK_HANDLE_ALL ? "all" : "");
    if (Result == 0) {
        _pFake->BPs.removeIf([Handle](const FAKE_BP& BP) { return Handle == NOVIK_HANDLE_ALL || BP.Handle == Handle; });
    }
    return Result;
}

int32_t GetBPInfo(int32_t Index, NOVIKARM_BP_INFO* pInfo) {
    LOCK Lock(_pFake->Mutex);
    const auto& BPs = _pFake->BPs;
    const bool WantsCount = Index == -1 && (!pInfo || pInfo->Handle == 0);
    const bool IsThere = Index == -1 && pInfo ? Has(BPs, pInfo->Handle) : Index >= 0 && Index < BPs.size();
    if (!_pFake->IsConnected || !(WantsCount || IsThere)) {
        return -1;
    }
    for (qsizetype i = 0; i < BPs.size(); i++) {
        if (pInfo && (Index == i || (Index == -1 && pInfo->Handle == BPs[i].Handle))) {
            pInfo->Handle = BPs[i].Handle;
            pInfo->Addr = BPs[i].Addr;
            pInfo->ImplFlags = NOVIK_BP_IMPL_HARD;
        }
    }
    return int32_t(BPs.size());
}

int32_t OnSetDataEvent(const NOVIKARM_DATA_EVENT* pEvent, uint32_t* pHandle) {
    LOCK Lock(_pFake->Mutex);
    const int Result = Answer("SetDataEvent", 0, Hex(pEvent->Addr));
    if (!_pFake->IsConnected) {
        return I32(NOVIK_EVENT_ERR_UNKNOWN);
    }
    if (Result >= 0) {
        *pHandle = 500 + U32(_pFake->WPs.size());
        _pFake->WPs.append({*pHandle, *pEvent});
    }
    return Result;
}

int32_t OnClrDataEvent(uint32_t Handle) {
    LOCK Lock(_pFake->Mutex);
    const bool IsKnown = Handle == NOVIK_HANDLE_ALL || Has(_pFake->WPs, Handle);
    const int Result =
        Answer("ClrDataEvent", IsKnown && _pFake->IsConnected ? 0 : -1, Handle == NOVIK_HANDLE_ALL ? "all" : "");
    if (Result == 0) {
        _pFake->WPs.removeIf([Handle](const FAKE_WP& WP) { return Handle == NOVIK_HANDLE_ALL || WP.Handle == Handle; });
    }
    return Result;
}

int32_t GetWPInfo(int32_t Index, NOVIKARM_WP_INFO* pInfo) {
    LOCK Lock(_pFake->Mutex);
    if (!_pFake->IsConnected || Index >= _pFake->WPs.size()) {
        return -1;
    }
    if (Index >= 0) {
        const FAKE_WP& WP = _pFake->WPs[Index];
        pInfo->Handle = WP.Handle;
        pInfo->Addr = WP.Event.Addr;
        pInfo->AddrMask = WP.Event.AddrMask ? WP.Event.AddrMask : 3;
        pInfo->Data = WP.Event.Data;
        pInfo->DataMask = WP.Event.DataMask;
        pInfo->Access = WP.Event.Access;
        pInfo->AccessMask = WP.Event.AccessMask;
    }
    return int32_t(_pFake->WPs.size());
}

int32_t OnReadRegs(const uint32_t* pIdxs, uint32_t* pValues, uint8_t* pStatus, uint32_t Count) {
    LOCK Lock(_pFake->Mutex);
    for (U32 i = 0; i < Count; i++) {
        const bool Ok = pIdxs[i] < NOVIK_NUM_REGS;
        pValues[i] = Ok ? _pFake->Regs[pIdxs[i]] : 0;
        pStatus[i] = !Ok;
    }
    return Answer("ReadRegs", _pFake->IsConnected && (_pFake->Recording.isEmpty() || _pFake->HaltStatus == 1) ? 0 : -1);
}

int BackgroundAccess() { return 0; }

// Functions whose work is their result.
#define FAKE_CALL(Member, Short, Normal, ...)                                                                          \
    Funcs.Member = [](auto... Args) -> decltype(std::declval<NOVIK_FUNCS>().Member(Args...)) {                         \
        LOCK Lock(_pFake->Mutex);                                                                                      \
        QString sArgs;                                                                                                 \
        ((sArgs += QString::number(qint64(Args), 16) + ' '), ...);                                                     \
        return decltype(std::declval<NOVIK_FUNCS>().Member(Args...))(Answer(Short, Normal, sArgs.trimmed()));          \
    }

} // namespace

CFakeProbe* CFakeProbe::Current() { return _pFake; }

CFakeProbe::~CFakeProbe() { _pFake = nullptr; }

bool CFakeProbe::Call(const char* sName, const QString& sArgs, int* pResult) {
    m_Calls.append(sArgs.isEmpty() ? QString::fromLatin1(sName) : QString::fromLatin1(sName) + ' ' + sArgs);
    const QString sKey = QString::fromLatin1(sName);
    if (const auto fHook = Hooks.value(sKey)) {
        fHook();
    }
    if (const U32 NumMs = CostsMs.value(sKey); NumMs && fSpend) {
        fSpend(NumMs);
    }
    auto It = Answers.find(sKey);
    if (It != Answers.end() && !It->empty()) {
        *pResult = It->front();
        It->pop_front();
        return true;
    }
    const auto Fixed = FixedAnswers.constFind(sKey);
    if (Fixed == FixedAnswers.constEnd()) {
        return false;
    }
    *pResult = *Fixed;
    return true;
}

QStringList CFakeProbe::TakeCalls() {
    LOCK Lock(Mutex);
    return std::exchange(m_Calls, QStringList());
}

int CFakeProbe::CountCalls(const QString& sPrefix) const {
    LOCK Lock(Mutex);
    return int(std::count_if(m_Calls.begin(), m_Calls.end(), [&](const QString& s) { return s.startsWith(sPrefix); }));
}

void CFakeProbe::Poke(U32 Addr, const QByteArray& Bytes) {
    for (qsizetype i = 0; i < Bytes.size(); i++) {
        Mem[Addr + U32(i)] = U8(Bytes[i]);
    }
}

CFakeProbe::CFakeProbe() : Funcs(LoadNovikFuncs(QStringLiteral("/nonexistent/libnovik.so"))) {
    _pFake = this;
    Funcs.sError.clear();
    FillTable();
    FillFakeStreams(Funcs);
}

void CFakeProbe::FillTable() {
    Funcs.NOVIKARM_GetDLLVersion = [] { return _pFake->LibVersion; };
    Funcs.NOVIKARM_DEVICE_GetInfo = DeviceInfo;
    Funcs.NOVIKARM_DEVICE_GetIndex = DeviceIndex;
    Funcs.NOVIKARM_Core2CoreName = [](uint32_t, char* s, uint32_t Size) { qstrncpy(s, "FakeCore", Size); };
    Funcs.NOVIK_GetpFunc = [](uint32_t Id) -> void* {
        // What instructions mean is no matter of a probe: the library's own decoder tells.
        if (_pFake->HasEntryPoints && Id == NOVIK_FUNC_GET_DECODER) {
            return LoadNovikLibrary().NOVIK_GetpFunc(Id);
        }
        return _pFake->HasEntryPoints && Id == NOVIK_FUNC_BACKGROUND_MEM_ACCESS
                   ? reinterpret_cast<void*>(BackgroundAccess)
                   : nullptr;
    };
    Funcs.NOVIKARM_GetFirmwareString = [](char* s, uint32_t Size) { qstrncpy(s, "Fake V1  compiled today", Size); };
    Funcs.NOVIKARM_Open = []() -> const char* {
        LOCK Lock(_pFake->Mutex);
        const bool Fails = Answer("Open", 0) != 0;
        _pFake->IsOpen = _pFake->IsOpen || !Fails;
        return Fails ? "no probe" : nullptr;
    };
    Funcs.NOVIKARM_SelectIP = [](const char* sHost, int32_t) {
        LOCK Lock(_pFake->Mutex);
        return U8(Answer("SelectIP", 0, QString::fromLatin1(sHost)));
    };
    Funcs.NOVIKARM_ExecCommand = OnExecCommand;
    Funcs.NOVIKARM_GetSpeed = [] { return _pFake->SpeedKHz; };
    Funcs.NOVIKARM_IsHalted = [] {
        LOCK Lock(_pFake->Mutex);
        return int8_t(Answer("IsHalted", _pFake->IsConnected ? _pFake->HaltStatus : -1));
    };
    Funcs.NOVIKARM_Halt = [] {
        LOCK Lock(_pFake->Mutex);
        const int Result = Answer("Halt", _pFake->IsConnected ? 0 : -1);
        _pFake->HaltStatus = Result == 0 ? 1 : _pFake->HaltStatus;
        return Result;
    };
    Funcs.NOVIKARM_GoEx = [](uint32_t, uint32_t) {
        LOCK Lock(_pFake->Mutex);
        Answer("GoEx", 0);
        _pFake->HaltStatus = 0;
        if (!_pFake->Recording.isEmpty()) {
            _pFake->ReplayRun();
        }
    };
    Funcs.NOVIKARM_Step = OnStep;
    Funcs.NOVIKARM_ReadMemU8 = [](auto a, auto n, auto p, auto s) { return ReadItems("ReadMemU8", a, n, p, s); };
    Funcs.NOVIKARM_ReadMemU16 = [](auto a, auto n, auto p, auto s) { return ReadItems("ReadMemU16", a, n, p, s); };
    Funcs.NOVIKARM_ReadMemU32 = [](auto a, auto n, auto p, auto s) { return ReadItems("ReadMemU32", a, n, p, s); };
    Funcs.NOVIKARM_ReadMemU64 = [](auto a, auto n, auto p, auto s) { return ReadItems("ReadMemU64", a, n, p, s); };
    Funcs.NOVIKARM_ReadMemHW = [](uint32_t Addr, uint32_t NumBytes, void*) {
        LOCK Lock(_pFake->Mutex);
        return Answer("ReadMemHW", 0, Hex(Addr, NumBytes));
    };
    Funcs.NOVIKARM_ReadMemEx = OnReadMemEx;
    Funcs.NOVIKARM_WriteU8 = [](auto a, auto v) { return WriteItem("WriteU8", a, v); };
    Funcs.NOVIKARM_WriteU16 = [](auto a, auto v) { return WriteItem("WriteU16", a, v); };
    Funcs.NOVIKARM_WriteU32 = [](auto a, auto v) { return WriteItem("WriteU32", a, v); };
    Funcs.NOVIKARM_WriteU64 = [](auto a, auto v) { return WriteItem("WriteU64", a, v); };
    Funcs.NOVIKARM_WriteMemEx = OnWriteMemEx;
    Funcs.NOVIKARM_ReadReg = [](uint32_t Idx) {
        LOCK Lock(_pFake->Mutex);
        return Idx < NOVIK_NUM_REGS ? _pFake->Regs[Idx] : 0;
    };
    Funcs.NOVIKARM_ReadRegs = OnReadRegs;
    Funcs.NOVIKARM_WriteReg = [](uint32_t Idx, uint32_t Value) {
        LOCK Lock(_pFake->Mutex);
        const bool Ok = Idx < NOVIK_NUM_REGS && _pFake->IsConnected;
        if (Ok) {
            _pFake->Regs[Idx] = Value;
        }
        return U8(Answer("WriteReg", !Ok, Hex(Idx, Value)));
    };
    Funcs.NOVIKARM_SetBPEx = SetBP;
    Funcs.NOVIKARM_ClrBPEx = ClrBP;
    Funcs.NOVIKARM_GetBPInfoEx = GetBPInfo;
    Funcs.NOVIKARM_SetDataEvent = OnSetDataEvent;
    Funcs.NOVIKARM_ClrDataEvent = OnClrDataEvent;
    Funcs.NOVIKARM_GetWPInfoEx = GetWPInfo;
    FAKE_CALL(NOVIKARM_SelectUSB, "SelectUSB", 0);
    FAKE_CALL(NOVIKARM_EMU_SelectByUSBSN, "SelectByUSBSN", 0);
    FAKE_CALL(NOVIKARM_IsOpen, "IsOpen", _pFake->IsOpen);
    FAKE_CALL(NOVIKARM_IsConnected, "IsConnected", _pFake->IsConnected);
    Funcs.NOVIKARM_Connect = [] {
        LOCK Lock(_pFake->Mutex);
        const int Result = Answer("Connect", 0);
        _pFake->IsConnected = _pFake->IsConnected || Result == 0;
        return Result;
    };
    Funcs.NOVIKARM_Close = [] {
        LOCK Lock(_pFake->Mutex);
        Answer("Close", 0);
        // A target that is declared loses its connection; a script says so itself.
        _pFake->IsOpen = _pFake->IsConnected = _pFake->Recording.isEmpty();
    };
    Funcs.NOVIKARM_Reset = [] {
        LOCK Lock(_pFake->Mutex);
        const int Result = Answer("Reset", _pFake->IsConnected ? 0 : -1);
        if (Result == 0 && !_pFake->Recording.isEmpty()) {
            _pFake->HaltStatus = 1;
            _pFake->ReplayFrom(0);
        }
        return Result;
    };
    FAKE_CALL(NOVIKARM_SetEndian, "SetEndian", 0);
    FAKE_CALL(NOVIKARM_TIF_Select, "TIF_Select", 0);
    FAKE_CALL(NOVIKARM_ConfigJTAG, "ConfigJTAG", 0);
    FAKE_CALL(NOVIKARM_SetSpeed, "SetSpeed", 0);
    FAKE_CALL(NOVIKARM_EMU_HasCapEx, "HasCapEx", 1);
    Funcs.NOVIKARM_BeginDownload = [](uint32_t) {
        LOCK Lock(_pFake->Mutex);
        Answer("BeginDownload", 0, QStringLiteral("0"));
        _pFake->IsDownloading = true;
    };
    Funcs.NOVIKARM_EndDownload = [] {
        LOCK Lock(_pFake->Mutex);
        const int Result = Answer("EndDownload", _pFake->IsConnected ? NOVIK_DL_OK : NOVIK_DL_ERR_UNSPECIFIED);
        if (Result >= 0) {
            _pFake->Mem.insert(_pFake->HeldBack);
        }
        _pFake->HeldBack.clear();
        _pFake->IsDownloading = false;
        return Result;
    };
}
