// SPDX-License-Identifier: GPL-2.0-or-later
#include "slicedtask.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>

#include <utility>

namespace {
const QEvent::Type runEvent = static_cast<QEvent::Type>(QEvent::registerEventType());
}

SlicedTask::SlicedTask(Work work)
    : m_work(std::move(work))
{}

void SlicedTask::schedule()
{
    // Ahead of OBS's own posted events, such as repaints. Those still run in the same turn: the event loop handles
    // events that are posted meanwhile only in its next turn.
    if (!m_isScheduled.exchange(true)) {
        QCoreApplication::postEvent(this, new QEvent(runEvent), Qt::HighEventPriority);
    }
}

bool SlicedTask::begin()
{
    if (m_isScheduled) {
        return false;
    }
    if (isSliceOver()) {
        m_deadline.setRemainingTime(sliceLength);
    }
    return true;
}

void SlicedTask::end()
{
    if (isSliceOver()) {
        schedule();
    }
}

bool SlicedTask::event(QEvent* event)
{
    if (event->type() != runEvent) {
        return QObject::event(event);
    }
    m_isScheduled = false;
    m_deadline.setRemainingTime(sliceLength);
    const QPointer<SlicedTask> self(this);
    const Work work = m_work; // a copy, since the work may destroy the task
    work();
    if (self) {
        end();
    }
    return true;
}
