// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QDeadlineTimer>
#include <QObject>

#include <atomic>
#include <chrono>
#include <functional>

// Work on the main thread in slices of at most about 10 ms, one per turn of the event loop.
//
// This is what bounds the plug-in's work on OBS's main thread, in both directions: SignalQueue delivers OBS's signals
// in the slices of one task, NetworkServer handles requests in the slices of another. Between two slices OBS paints its
// window and handles its own events. A nested event loop (a modal dialog of OBS) runs slices of its own.
//
// A run is one call of the work by the event loop, in a new slice. Work outside a run opens a slice with begin().
class SlicedTask : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds sliceLength {10};

    // Does the pending work step by step and returns when isSliceOver(). Runs on the main thread. May destroy the task.
    using Work = std::function<void()>;

    explicit SlicedTask(Work work);

    // Schedules a run for the next turn of the event loop, unless one is scheduled. Any thread.
    void schedule();

    // Opens a slice for work outside a run (a readable socket), or continues the slice that is not over yet. Returns
    // false when a run is scheduled: then the work has to wait for that run.
    [[nodiscard]] bool begin();

    // Call it after begin() and the work. If the slice is over, further work waits for the next turn of the event loop.
    void end();

    bool isSliceOver() const { return m_deadline.hasExpired(); }

protected:
    bool event(QEvent* event) override;

private:
    Work m_work;
    QDeadlineTimer m_deadline;
    std::atomic_bool m_isScheduled = false;
};
