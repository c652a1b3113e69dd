#include "tests/device/FakeStreams.h"

#include "tests/device/FakeProbe.h"

#include <algorithm>
#include <cstring>

namespace {

using LOCK = std::lock_guard<std::mutex>;

int Answer(const char* sName, int Normal, const QString& sArgs = QString()) {
    int Result = Normal;
    CFakeProbe::Current()->Call(sName, sArgs, &Result);
    return Result;
}

// Takes up to NumBytes off a stream; its length in items, or what the script says.
int ReadStream(const char* sName, void* pData, U32 NumBytes, U32 ItemSize, bool Consumes = true) {
    CFakeProbe& Fake = *CFakeProbe::Current();
    LOCK Lock(Fake.Mutex);
    QByteArray& Stream = Fake.Streams[QString::fromLatin1(sName)];
    U32 Piece = std::min(NumBytes, U32(Stream.size()));
    Piece -= Piece % ItemSize;
    const int Result = Answer(sName, int(Piece / ItemSize), QString::number(NumBytes, 16));
    if (Result > 0) {
        std::memcpy(pData, Stream.constData(), std::min(Piece, U32(Result) * ItemSize));
        Stream.remove(0, Consumes ? qsizetype(Piece) : 0);
    }
    return Result;
}

// A function whose work is its result.
template <class... ARGS> int Plain(const char* sName, ARGS... Args) {
    LOCK Lock(CFakeProbe::Current()->Mutex);
    QString sArgs;
    ((sArgs += QString::number(qint64(Args), 16) + QLatin1Char(' ')), ...);
    return Answer(sName, 0, sArgs.trimmed());
}

} // namespace

void FillFakeStreams(NOVIK_FUNCS& Funcs) {
    Funcs.NOVIK_RTTERMINAL_Control = [](uint32_t Cmd, void*) { return Plain("RTTERMINAL_Control", Cmd); };
    Funcs.NOVIK_RTTERMINAL_Read = [](uint32_t, char* pData, uint32_t NumBytes) {
        return ReadStream("RTTERMINAL_Read", pData, NumBytes, 1);
    };
    Funcs.NOVIK_RTTERMINAL_Write = [](uint32_t, const char* pData, uint32_t NumBytes) {
        LOCK Lock(CFakeProbe::Current()->Mutex);
        const QByteArray Bytes(pData, qsizetype(NumBytes));
        return Answer("RTTERMINAL_Write", int(NumBytes), QString::fromLatin1(Bytes.toHex()));
    };
    Funcs.NOVIK_HSS_Start = [](const NOVIK_HSS_MEM_BLOCK*, int32_t Count, int32_t Period, int32_t) {
        return Plain("HSS_Start", Count, Period);
    };
    Funcs.NOVIK_HSS_Stop = [] { return Plain("HSS_Stop"); };
    Funcs.NOVIK_HSS_Read = [](void* pData, uint32_t NumBytes) { return ReadStream("HSS_Read", pData, NumBytes, 1); };
    Funcs.NOVIKARM_SWO_EnableTarget = [](uint32_t CpuHz, uint32_t SwoHz, int32_t, uint32_t Mask) {
        return Plain("SWO_EnableTarget", CpuHz, SwoHz, Mask);
    };
    Funcs.NOVIKARM_SWO_DisableTarget = [](uint32_t Mask) { return Plain("SWO_DisableTarget", Mask); };
    Funcs.NOVIKARM_SWO_Control = [](uint32_t, uint32_t* pNumBytes) {
        CFakeProbe& Fake = *CFakeProbe::Current();
        LOCK Lock(Fake.Mutex);
        QByteArray& Stream = Fake.Streams[QStringLiteral("SWO_ReadStimulus")];
        Stream.remove(0, pNumBytes ? qsizetype(*pNumBytes) : Stream.size());
        return Answer("SWO_Control", 0, pNumBytes ? QString::number(*pNumBytes, 16) : QStringLiteral("all"));
    };
    Funcs.NOVIKARM_SWO_ReadStimulus = [](uint32_t, uint8_t* pData, uint32_t NumBytes) {
        return ReadStream("SWO_ReadStimulus", pData, NumBytes, 1, false);
    };
    Funcs.NOVIKARM_SWO_GetCompatibleSpeeds = [](uint32_t, uint32_t, uint32_t* pSpeeds, uint32_t Count) {
        return ReadStream("SWO_GetCompatibleSpeeds", pSpeeds, Count * 4, 4, false);
    };
    Funcs.NOVIKARM_MeasureCPUSpeedEx = [](uint32_t Addr, int32_t, int32_t) { return Plain("MeasureCPUSpeedEx", Addr); };
    Funcs.NOVIK_STRACE_Config = [](const char* sText) {
        LOCK Lock(CFakeProbe::Current()->Mutex);
        Answer("STRACE_Config", 0, QString::fromUtf8(sText));
    };
    Funcs.NOVIK_STRACE_Start = [] { return Plain("STRACE_Start"); };
    Funcs.NOVIK_STRACE_Stop = [] { return Plain("STRACE_Stop"); };
    Funcs.NOVIK_STRACE_Read = [](uint32_t* pAddrs, uint32_t Count) {
        return ReadStream("STRACE_Read", pAddrs, Count * 4, 4);
    };
    Funcs.NOVIK_STRACE_GetInstStats = [](NOVIK_STRACE_INST_STAT* pOut, uint32_t, uint32_t Count, uint32_t, uint32_t) {
        return ReadStream("STRACE_GetInstStats", pOut, Count * 8, 8, false);
    };
}
