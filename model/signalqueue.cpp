// SPDX-License-Identifier: GPL-2.0-or-later
#include "signalqueue.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>
#include <iterator>
#include <vector>

namespace {
const QEvent::Type wakeUpEvent = static_cast<QEvent::Type>(QEvent::registerEventType());
}

void SignalQueue::post(const QObject* wrapper, Delivery delivery)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_records.push_back({wrapper, std::move(delivery)});
    }
    wakeUp();
}

void SignalQueue::deliver()
{
    // Only what is there now: other threads may keep recording.
    std::size_t count = 0;
    {
        const std::scoped_lock lock(m_mutex);
        count = m_records.size();
    }
    for (; count > 0; --count) {
        std::optional<Record> record = takeFirst();
        if (!record) {
            return; // a delivery made a nested call, or ended wrappers
        }
        deliverFirst(std::move(*record));
    }
}

void SignalQueue::forget(const QObject* wrapper)
{
    std::vector<Record> dropped; // destroyed without the lock
    const std::scoped_lock lock(m_mutex);
    const auto isKept = [wrapper](const Record& record) { return record.wrapper != wrapper; };
    const auto firstDropped = std::stable_partition(m_records.begin(), m_records.end(), isKept);
    std::move(firstDropped, m_records.end(), std::back_inserter(dropped));
    m_records.erase(firstDropped, m_records.end());
}

bool SignalQueue::event(QEvent* event)
{
    if (event->type() != wakeUpEvent) {
        return QObject::event(event);
    }
    {
        const std::scoped_lock lock(m_mutex);
        m_isWakeUpPosted = false;
    }
    const QDeadlineTimer deadline(deliveryBudget);
    while (std::optional<Record> record = takeFirst()) {
        deliverFirst(std::move(*record));
        if (deadline.hasExpired()) {
            break;
        }
    }
    {
        const std::scoped_lock lock(m_mutex);
        m_breather.setRemainingTime(deliveryBudget);
    }
    wakeUp();
    return true;
}

std::optional<SignalQueue::Record> SignalQueue::takeFirst()
{
    const std::scoped_lock lock(m_mutex);
    if (m_records.empty()) {
        return std::nullopt;
    }
    std::optional<Record> record(std::move(m_records.front()));
    m_records.pop_front();
    return record;
}

void SignalQueue::deliverFirst(Record record)
{
    record.delivery();
    emit delivered();
}

void SignalQueue::wakeUp()
{
    // Ahead of the host's own repaints, unless there was a delivery just now: then the host has its turn.
    int priority = Qt::HighEventPriority;
    {
        const std::scoped_lock lock(m_mutex);
        if (m_isWakeUpPosted || m_records.empty()) {
            return;
        }
        m_isWakeUpPosted = true;
        if (!m_breather.hasExpired()) {
            priority = Qt::NormalEventPriority;
        }
    }
    QCoreApplication::postEvent(this, new QEvent(wakeUpEvent), priority);
}
