// Questions to the data provider, and a write, on a probe that answers at once: the cost of asking, merging, storing
// and answering. Prints lines "name value unit peer peer-value ratio"; the peers are measured in the same run.

#include "bench/BenchDevice.h"

#include <QCoreApplication>
#include <algorithm>
#include <cstdio>

namespace {

constexpr U32 RAM = 0x20000000;
constexpr U32 VIEW_SIZE = 1024 * 1024;
constexpr U32 BLOCK_SIZE = 64 * 1024;
constexpr int NUM_ROUNDS = 9;
constexpr int NUM_QUESTIONS = 1'000'000;
constexpr int NUM_READS = 10'000;
constexpr std::chrono::microseconds NO_PAUSE{};

/// A window that waits for memory and for a write.
class CView : public CDeviceEventListener {
public:
    int NumAnswers = 0;
    void OnDeviceReadMemDone(U32, U32, U8*, U8*) override { NumAnswers++; }
    void OnDeviceWriteMemDone(U32, U32, U8*) override { NumAnswers++; }
};

void WaitForAnswer(CDevice& Device, CView& View, int Count) {
    while (View.NumAnswers < Count) {
        const U64 NumFinished = Device.Queue().NumFinished();
        if (Device.DeliverEvents(10) == 0) {
            Device.Queue().WaitForFinished(NumFinished, 1);
        }
    }
}

/// The best of several rounds, in microseconds.
template <class FN> double Best(FN&& Fn) {
    double Least = 1e9;
    for (int i = 0; i < NUM_ROUNDS; i++) {
        Least = std::min(Least, MeasureCalls(1, NO_PAUSE, Fn));
    }
    return Least;
}

void Print(const char* sName, double Value, const char* sUnit, const char* sPeer, double Peer) {
    std::printf("%s %.2f %s %s %.2f %.2f\n", sName, Value, sUnit, sPeer, Peer, Value / Peer);
}

void MeasureQuestions(CDeviceDataProvider& Provider) {
    U32 Word = 0;
    auto* pWord = reinterpret_cast<U8*>(&Word);
    Provider.GetMemSync(RAM, 4, pWord);
    U32 Sum = 0;
    const double Cached = Best([&] {
        for (int i = 0; i < NUM_QUESTIONS; i++) {
            Provider.GetMemSync(RAM, 4, pWord);
            Sum += Word;
        }
    });
    const double Copy = Best([&] {
        for (int i = 0; i < NUM_QUESTIONS; i++) {
            std::memcpy(pWord, InstantMemory(Sum + 4 * U32(i)), 4);
            Sum += Word;
        }
    });
    Print("question_cached", Cached * 1000 / NUM_QUESTIONS, "ns", "memcpy", Copy * 1000 / NUM_QUESTIONS);
    const double HandOver = MeasureHandOver(NUM_READS, NO_PAUSE);
    const double Uncached = MeasureCalls(NUM_READS, NO_PAUSE, [&] {
        Provider.OnDeviceWriteAccess();
        Provider.GetMemSync(RAM, 4, pWord);
    });
    Print("question_uncached", Uncached, "us", "thread_hand_over", HandOver);
}

void MeasureView(CDevice& Device, CDeviceDataProvider& Provider) {
    CView View;
    std::vector<U8> Copy(VIEW_SIZE);
    const double Limit = Best([&] { std::memcpy(Copy.data(), InstantMemory(0), VIEW_SIZE); });
    const auto Refresh = [&](U32 Flags) {
        const int Count = View.NumAnswers + 1;
        Provider.ReadMemAsync(&View, RAM, VIEW_SIZE, 0, 0, Flags);
        WaitForAnswer(Device, View, Count);
    };
    Print("view_refresh_1_MiB", Best([&] { Refresh(MEM_FLAG_REFRESH); }), "us", "memcpy", Limit);
    Print("view_cached_1_MiB", Best([&] { Refresh(0); }), "us", "memcpy", Limit);
}

void MeasureWrite(CDevice& Device, CDeviceDataProvider& Provider) {
    CView View;
    const QByteArray Data(BLOCK_SIZE, 'x');
    const double Limit = Best([&] { std::memcpy(InstantMemory(0), Data.constData(), BLOCK_SIZE); });
    double Write = 1e9;
    for (int i = 0; i < NUM_ROUNDS; i++) {
        int Count = View.NumAnswers;
        Provider.ReadMemAsync(&View, RAM, BLOCK_SIZE); // so that there is something to forget
        WaitForAnswer(Device, View, Count + 1);
        Count = View.NumAnswers;
        Write = std::min(Write, MeasureCalls(1, NO_PAUSE, [&] {
                             Device.PostWriteMem(RAM, Data, 0, 0, 0);
                             WaitForAnswer(Device, View, Count + 1);
                         }));
    }
    Print("write_64_KiB", Write, "us", "memcpy", Limit);
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication App(argc, argv);
    const NOVIK_FUNCS Funcs = InstantProbe();
    CDeviceClock Clock;
    CDevice Device(Funcs, Clock);
    CDeviceDataProvider Provider(Device);
    ConnectInstantly(Device);
    Device.SetSessionReady();
    MeasureQuestions(Provider);
    MeasureView(Device, Provider);
    MeasureWrite(Device, Provider);
    return 0;
}
