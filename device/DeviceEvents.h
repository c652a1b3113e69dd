#pragma once

// Events on their way to the main thread: a ring of records, and a ring of texts for those that carry one. Any thread
// posts, the main thread takes.

#include "base/Log.h"
#include "device/Job.h"

#include <QString>
#include <array>
#include <atomic>
#include <functional>
#include <mutex>

enum DEVICE_EVENT_KINDS : U32 {
    DEV_EVENT_NONE,
    DEV_EVENT_JOB, ///< A: pointer to the Job
    DEV_EVENT_EVAL_BP_CONDITION,
    DEV_EVENT_CONFIG_PARAM_CHANGED,
    DEV_EVENT_CAPABILITY_CHANGED,
    DEV_EVENT_CONNECTION_LOST,
    DEV_EVENT_ABOUT_TO_DISCONNECT, ///< this and the next two are delivered at once when raised on the main thread
    DEV_EVENT_ABOUT_TO_RESUME,
    DEV_EVENT_ABOUT_TO_STEP,
    DEV_EVENT_CPU_MODE_CHANGED,
    DEV_EVENT_EXEC_MODE_CHANGED,
    DEV_EVENT_ENDIANESS_CHANGED,
    DEV_EVENT_RESERVED,
    DEV_EVENT_LOG_MSG, ///< A: text slot, B: MSG_INFO_FLAGS
    DEV_EVENT_SET_STATUS_MSG,
    DEV_EVENT_SET_PROGRESS_MSG,
    DEV_EVENT_START_PROGRESS,
    DEV_EVENT_END_PROGRESS,
    DEV_EVENT_SET_PROGRESS_VALUE,
    DEV_EVENT_KIND_COUNT
};

struct DeviceEvent {
    U32 Kind = DEV_EVENT_NONE; ///< DEV_EVENT_NONE: free slot
    U64 A = 0;
    U64 B = 0;
};

constexpr U32 EVENT_RING_SIZE = 10000;
constexpr U32 EVENT_TEXT_COUNT = 1000;
constexpr U32 EVENT_TEXT_SIZE = 1000;

constexpr U32 DEV_LOG_DEBUG = 0x819; ///< with DEV_LOG_WARN only if someone reads debug messages
constexpr U32 DEV_LOG_WARN = 0x81A;
constexpr U32 DEV_LOG_INFO = 0x841;
constexpr U32 DEV_LOG_ERROR = 0x844;

class CDeviceEvents {
public:
    /// Puts an event into the ring. 0, or -1 with a message in the Qt log if it is full. Any thread.
    int Post(DEVICE_EVENT_KINDS Kind, U64 A = 0, U64 B = 0);
    /// Called by whoever posts into a ring that nobody has been told of, on that thread; null for nobody. TakeNotice()
    /// begins a new round: the next post notifies again.
    void SetNotifier(std::function<void()> fNotify);
    void TakeNotice() { m_IsNoticed.store(false, std::memory_order_seq_cst); }
    /// True if no event waits. Main thread.
    bool IsEmpty();
    /// As Post(), with a text, of which 1000 bytes are kept. Texts older than 1000 posts are lost.
    int PostText(DEVICE_EVENT_KINDS Kind, const QByteArray& sText, U64 B = 0);
    /// Tells listeners at once on the main thread; elsewhere as Post(). For the "about to" kinds.
    void Raise(DEVICE_EVENT_KINDS Kind);

    /// Oldest event, or one of kind DEV_EVENT_NONE. Main thread.
    DeviceEvent Take();
    /// Calls Fn for up to MaxEvents of the next events without taking them, until it returns true. Main thread.
    template <class FN> bool AnyNext(U32 MaxEvents, FN&& Fn) {
        std::lock_guard Lock(m_ReadMutex);
        for (U32 i = 0; i < MaxEvents; i++) {
            DeviceEvent& Slot = m_aEvents[(m_ReadIdx + i) % EVENT_RING_SIZE];
            if (std::atomic_ref(Slot.Kind).load(std::memory_order_acquire) == DEV_EVENT_NONE) {
                return false;
            }
            if (Fn(Slot)) {
                return true;
            }
        }
        return false;
    }
    QByteArray GetText(U64 TextSlot) const;
    /// Forgets all events and starts at slot 0. Before events flow.
    void Reset();

    /// Calls the listeners' operation for an event of any kind but DEV_EVENT_JOB. Main thread.
    void Deliver(const DeviceEvent& Event) const;

    /// Messages of target control at one of the four DEV_LOG_ levels, with printf arguments. Any thread.
    void Log(U32 Flags, const char* sFormat, ...) __attribute__((format(printf, 3, 4)));
    void LogText(U32 Flags, const QByteArray& sText);

private:
    bool Store(DEVICE_EVENT_KINDS Kind, U64 A, U64 B);
    void Notify();

    std::array<DeviceEvent, EVENT_RING_SIZE> m_aEvents;
    U32 m_ReadIdx = 0;
    U32 m_WriteIdx = 0;
    std::mutex m_ReadMutex;
    std::mutex m_WriteMutex;

    std::mutex m_NotifyMutex;
    std::function<void()> m_fNotify;
    std::atomic<bool> m_IsNoticed{false};

    mutable std::mutex m_TextMutex;
    std::array<std::array<char, EVENT_TEXT_SIZE + 1>, EVENT_TEXT_COUNT> m_aTexts{};
    U32 m_TextIdx = 0;
};
