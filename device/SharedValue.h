#pragma once

// Values that one thread writes and another reads without a lock. A store publishes what the writer did before it.

#include <atomic>
#include <mutex>

#include <QByteArray>

template <class T> class CSharedValue {
public:
    CSharedValue(T Value = T()) : m_Value(Value) {}
    operator T() const { return m_Value.load(std::memory_order_acquire); }
    T operator=(T Value) {
        m_Value.store(Value, std::memory_order_release);
        return Value;
    }
    /// Stores Value and gives what stood there before, in one step.
    T Exchange(T Value) { return m_Value.exchange(Value, std::memory_order_acq_rel); }

private:
    std::atomic<T> m_Value;
};

/// A text under a lock of its own.
class CSharedText {
public:
    QByteArray Get() const {
        std::lock_guard Lock(m_Mutex);
        return m_sText;
    }
    void Set(const QByteArray& sText) {
        std::lock_guard Lock(m_Mutex);
        m_sText = sText;
        m_sText.detach();
    }

private:
    mutable std::mutex m_Mutex;
    QByteArray m_sText;
};
