// SPDX-License-Identifier: GPL-2.0-or-later
#include "signalqueue.h"

#include <algorithm>
#include <utility>

void SignalQueue::post(const QObject* wrapper, Kind kind, Delivery delivery)
{
    {
        const std::scoped_lock lock(m_mutex);
        m_records.push_back({wrapper, kind, std::move(delivery)});
        if (m_records.size() > maximumUnmerged) {
            merge();
        }
    }
    m_task.schedule();
}

// Keeps the latest record of each wrapper and kind, at its position.
void SignalQueue::merge()
{
    std::deque<Record> kept;
    std::for_each(m_records.rbegin(), m_records.rend(), [&kept](Record& record) {
        const auto later = std::find_if(kept.begin(), kept.end(), [&record](const Record& candidate) {
            return candidate.wrapper == record.wrapper && candidate.kind == record.kind;
        });
        if (later == kept.end()) {
            kept.push_front(std::move(record));
        } else {
            later->isMerged = true;
        }
    });
    m_records = std::move(kept);
}

void SignalQueue::deliver()
{
    // Only the records that are pending now: other threads may keep posting.
    std::size_t count = 0;
    {
        const std::scoped_lock lock(m_mutex);
        count = m_records.size();
    }
    while (count > 0 && deliverFirst()) { // a delivery may call this function, or destroy wrappers
        --count;
    }
}

void SignalQueue::deliverSlice()
{
    while (deliverFirst() && !m_task.isSliceOver()) {}
}

bool SignalQueue::deliverFirst()
{
    Record record;
    {
        const std::scoped_lock lock(m_mutex);
        if (m_records.empty()) {
            return false;
        }
        record = std::move(m_records.front());
        m_records.pop_front();
    }
    record.delivery(record.isMerged);
    return true;
}

void SignalQueue::removePending(const QObject* wrapper)
{
    const std::scoped_lock lock(m_mutex);
    std::erase_if(m_records, [wrapper](const Record& record) { return record.wrapper == wrapper; });
}
