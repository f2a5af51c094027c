#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <utility>

/// The lock of an object that tells the world what it does while it does it. Signals raised under
/// the lock are posted here and emitted, in order, once the outermost operation has let go: a slot
/// may therefore call any operation of the object, from any thread, without meeting a held lock.
/// The lock is recursive, because the device inside calls back while an operation uses it.
class SignalGate
{
public:
    using Emission = std::function<void()>;

    /// Holds the lock for a scope and emits what was posted at its end.
    class Operation
    {
    public:
        explicit Operation(SignalGate &gate)
            : m_gate(gate)
        {
            m_gate.enter();
        }

        ~Operation() { m_gate.leave(); }

        Operation(const Operation &) = delete;
        Operation &operator=(const Operation &) = delete;

    private:
        SignalGate &m_gate;
    };

    /// Only within an Operation.
    void post(Emission emission) { m_posted.push_back(std::move(emission)); }

private:
    void enter()
    {
        m_lock.lock();
        ++m_depth;
    }

    void leave()
    {
        if (--m_depth == 0 && !m_emitting)
            emitPosted();
        m_lock.unlock();
    }

    // Entered and left with the lock held once. An operation called by a slot only adds to the
    // queue that is being emitted, so that signals never overtake each other.
    void emitPosted()
    {
        m_emitting = true;
        while (!m_posted.empty()) {
            const Emission emission = std::move(m_posted.front());
            m_posted.pop_front();
            m_lock.unlock();
            emission();
            m_lock.lock();
        }
        m_emitting = false;
    }

    std::recursive_mutex m_lock;
    int m_depth = 0;
    bool m_emitting = false;
    std::deque<Emission> m_posted;
};
