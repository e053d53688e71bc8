// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QDeadlineTimer>
#include <QObject>

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

// The one road from host callbacks to Qt signals.
//
// The host raises source and scene signals on any thread (its graphics, destruction and other plug-ins' threads among
// them), with locks held that a call back into the host would wait for. So a callback only records what it was told and
// returns; the queue delivers the records in order on the main thread:
//   - when the bridge asks, right after each call into the host that can raise such signals and before each front-end
//     event is handled, so that controllers see changes in the order in which they happened;
//   - otherwise by one posted event.
class SignalQueue : public QObject
{
    Q_OBJECT

public:
    using Delivery = std::function<void()>;

    // Records one signal for the wrapper. Any thread, with any of the host's locks held. The wrapper must be alive and
    // call forget() before it ends.
    void post(const QObject* wrapper, Delivery delivery);

    // Delivers what has been recorded so far. Main thread; re-entrant.
    void deliver();

    // Drops the records of a wrapper that is going away. Main thread.
    void forget(const QObject* wrapper);

signals:
    // After each single delivery.
    void delivered();

protected:
    bool event(QEvent* event) override;

private:
    struct Record
    {
        const QObject* wrapper;
        Delivery delivery;
    };

    // A flood of records must not keep the event loop from painting the host's window.
    static constexpr std::chrono::milliseconds deliveryBudget {10};

    std::optional<Record> takeFirst();
    void deliverFirst(Record record);
    void wakeUp();

    std::mutex m_mutex; // held only to touch the members below, never while calling anything
    std::deque<Record> m_records;
    bool m_isWakeUpPosted = false;
    QDeadlineTimer m_breather {0}; // the event loop's own time after a posted delivery
};
