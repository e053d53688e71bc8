// SPDX-License-Identifier: GPL-2.0-or-later
#include "messagebuilder.h"

#include "network/networklimits.h"

#include <string_view>

namespace {
constexpr std::string_view prefix = R"({"values":[)";
constexpr std::string_view suffix = "]}";
constexpr qsizetype envelope_bytes = prefix.size() + suffix.size();
} // namespace

QByteArray MessageBuilder::message(const QByteArray& entries)
{
    QByteArray body;
    body.reserve(entries.size() + envelope_bytes);
    body.append(prefix).append(entries).append(suffix);
    return body;
}

qsizetype MessageBuilder::append(const QByteArray& entry)
{
    const qsizetype alone_bytes = entry.size() + envelope_bytes;
    if (alone_bytes > NetworkLimits::maximumBody_bytes) {
        if (alone_bytes > m_maximumBody_bytes) {
            static_cast<void>(append("{}"));
            return alone_bytes;
        }
        close();
        m_full.append(message(entry));
        return 0;
    }
    if (!m_entries.isEmpty() && m_entries.size() + 1 + alone_bytes > NetworkLimits::maximumBody_bytes) {
        close();
    }
    if (!m_entries.isEmpty()) {
        m_entries.append(',');
    }
    m_entries.append(entry);
    return 0;
}

void MessageBuilder::close()
{
    if (!m_entries.isEmpty()) {
        m_full.append(message(std::exchange(m_entries, {})));
    }
}

QList<QByteArray> MessageBuilder::takeAll()
{
    close();
    return takeFull();
}

qsizetype MessageBuilder::size_bytes() const
{
    qsizetype size = m_entries.size();
    for (const QByteArray& body : m_full) {
        size += body.size();
    }
    return size;
}
