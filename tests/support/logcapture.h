// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

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
    QString take() { return std::exchange(m_lines, {}).join(u'/'); }

private:
    static void handle(int level, const char* format, va_list arguments, void* self)
    {
        constexpr QLatin1StringView prefix("[kestrelbridge] ");
        const QString line = QString::vasprintf(format, arguments);
        if (line.startsWith(prefix)) {
            static_cast<LogCapture*>(self)->m_lines.append(line.mid(level == LOG_INFO ? prefix.size() : 0));
        }
    }

    log_handler_t m_previousHandler = nullptr;
    void* m_previousParameter = nullptr;
    QStringList m_lines; // which come on the main thread, unlike the host's own
};
