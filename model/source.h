// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonObject>
#include <QObject>

#include <vector>

#include <obs.hpp>

class SignalQueue;

// Holds a reference to one source of OBS and turns the source's signals into Qt signals.
//
// Created and deleted on the main thread. It emits all its signals there, while the queue delivers. It subscribes to
// the source's signals when one of its own is first connected. Without a queue it is a snapshot that emits nothing. A
// source that OBS is already destroying gives a wrapper of null, which emits nothing and returns fallbacks.
class Source : public QObject
{
    Q_OBJECT

public:
    ~Source() override;

    obs_source_t* source() const { return m_source; }

    // "NULL" without a source, "Error" when the source has no name.
    QString name() const;

    // {"name"}; subclasses add to it.
    virtual QJsonObject toJson() const;

    // The kind of wrapper, in English. Part of the interface; the plug-in itself does not call it.
    virtual QString typeName() const = 0;

signals:
    void destroyed(Source* source);
    void removed(const Source* source);
    void activated(const Source* source, bool isActive);
    void shown(const Source* source, bool isVisible);
    void enabled(const Source* source, bool isEnabled);
    void renamed(const Source* source);

protected:
    struct HostSignal
    {
        const char* name;
        signal_callback_t callback;
    };

    // The wrapper takes its own reference to the source. The queue must outlive the wrapper.
    explicit Source(obs_source_t* source, SignalQueue* queue = nullptr);

    void connectNotify(const QMetaMethod& signal) override;

    // Ends every subscription and drops the pending records. Waits for a callback that is running on another thread.
    // Subclasses call it first in their destructors.
    void unsubscribe();

    // Subscribes to one signal of the source; the callback's data is this wrapper.
    void subscribe(const HostSignal& signal);

    SignalQueue* queue() const { return m_queue; }

private:
    static const HostSignal sourceSignals[];

    // Callbacks of the source's signals: each enqueues a record. Any thread.
    template<auto emission>
    static void enqueue(void* data, calldata_t* arguments);
    static void enqueueEnabled(void* data, calldata_t* arguments);

    bool matchesSource(const calldata_t* arguments) const;

    OBSSource m_source;
    SignalQueue* m_queue;
    std::vector<OBSSignal> m_subscriptions;
    bool m_isSubscribed = false;
};
