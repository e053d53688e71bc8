// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "support/slicedtask.h"

#include <QObject>

#include <deque>
#include <functional>
#include <mutex>

struct calldata;

// Carries OBS's signals from its callbacks to the main thread.
//
// OBS raises source and scene signals on any thread (graphics, destruction and other plug-ins' threads among them) and
// holds locks meanwhile that a call back into OBS would wait for. So a callback only enqueues a record and returns; the
// queue delivers the records in order on the main thread:
//   - when deliver() is called: right after each call into OBS that can raise such signals, and before each request and
//     each front-end event, so that controllers receive changes in the order in which they happened;
//   - otherwise in slices of a task.
//
// The backlog is bounded. When it exceeds a limit, the records of one wrapper and one kind merge into the latest of
// them: each wrapper then has at most one record of each kind. So the records of one call of deliver() are bounded too.
class SignalQueue
{
public:
    // Up to this many pending records stay separate, enough for the changes of a user or of one request.
    static constexpr std::size_t maximumUnmerged = 20;

    // The callback of the OBS signal, which identifies the kind of change: all records of one kind cause the same
    // notifications.
    using Kind = void (*)(void* data, calldata* arguments);

    // Called on the main thread. The argument is true when the record stands for several merged ones.
    using Delivery = std::function<void(bool isMerged)>;

    // Enqueues one signal of the wrapper. Any thread, with any of OBS's locks held; the delivery must hold no
    // reference. The wrapper must be alive and call removePending() in its destructor.
    void post(const QObject* wrapper, Kind kind, Delivery delivery);

    // Delivers the records that are pending now, all in this call. Main thread; re-entrant.
    void deliver();

    // Drops the pending records of a wrapper. Main thread.
    void removePending(const QObject* wrapper);

private:
    struct Record
    {
        const QObject* wrapper = nullptr;
        Kind kind = nullptr;
        Delivery delivery;
        bool isMerged = false;
    };

    void deliverSlice();
    bool deliverFirst();
    void merge();

    std::mutex m_mutex; // guards the records; unlocked during deliveries
    std::deque<Record> m_records;
    SlicedTask m_task {[this] { deliverSlice(); }};
};
