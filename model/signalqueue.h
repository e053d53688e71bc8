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
//   - when the bridge asks, right after each call into OBS that can raise such signals and before each front-end event,
//     so that controllers see changes in the order in which they happened;
//   - otherwise in slices of a task.
//
// The backlog is bounded. When it exceeds a limit, the records of one wrapper and one kind merge into the latest of
// them: each wrapper then has at most one record of each kind. One call of deliver() never handles more than that.
class SignalQueue
{
public:
    // How many records wait unmerged: enough for what a user or one request changes at once.
    static constexpr std::size_t maximumUnmerged = 20;

    // The callback of the OBS signal, as what tells one kind of change from another: all records of one kind cause the
    // same notifications.
    using Kind = void (*)(void* data, calldata* arguments);

    // Main thread. The argument is true when the record stands for several that have merged.
    using Delivery = std::function<void(bool isMerged)>;

    // Enqueues one signal of the wrapper. Any thread, with any of OBS's locks held; the delivery must hold no
    // reference. The wrapper must be alive and call removePending() before it ends.
    void post(const QObject* wrapper, Kind kind, Delivery delivery);

    // Delivers what is pending now. Main thread; re-entrant.
    void deliver();

    // Drops the records of a wrapper that is about to end. Main thread.
    void removePending(const QObject* wrapper);

private:
    struct Record
    {
        const QObject* wrapper;
        Kind kind;
        Delivery delivery;
        bool isMerged = false;
    };

    void deliverSlice();
    bool deliverFirst();
    void merge();

    std::mutex m_mutex; // guards the records; never held while anything is called
    std::deque<Record> m_records;
    SlicedTask m_task {[this] { deliverSlice(); }};
};
