// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QMutex>
#include <QStringList>

#include <cstdarg>
#include <utility>

#include <util/base.h>

// Takes the host's log for as long as it lives, and collects our lines of it in order.
class LogCapture
{
public:
    LogCapture()
    {
        base_get_log_handler(&m_previousHandler, &m_previousParameter);
        base_set_log_handler(handle, this);
    }

    ~LogCapture() { base_set_log_handler(m_previousHandler, m_previousParameter); }

    Q_DISABLE_COPY_MOVE(LogCapture)

    // Our lines since the last call, joined by "/", each without our prefix; one of another level than LOG_INFO is
    // marked.
    QString take()
    {
        const QMutexLocker lock(&m_mutex);
        return std::exchange(m_lines, {}).join(u'/');
    }

private:
    static void handle(int level, const char* format, va_list arguments, void* self)
    {
        constexpr QLatin1StringView prefix("[kestrelbridge] ");
        const QString line = QString::vasprintf(format, arguments);
        if (line.startsWith(prefix)) {
            auto* capture = static_cast<LogCapture*>(self);
            const QMutexLocker lock(&capture->m_mutex);
            capture->m_lines.append(line.mid(level == LOG_INFO ? prefix.size() : 0));
        }
    }

    log_handler_t m_previousHandler = nullptr;
    void* m_previousParameter = nullptr;
    QMutex m_mutex; // the host logs on any thread
    QStringList m_lines;
};
