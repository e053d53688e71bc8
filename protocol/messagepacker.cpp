// SPDX-License-Identifier: GPL-2.0-or-later
#include "messagepacker.h"

#include "network/networklimits.h"

#include <string_view>
#include <utility>

namespace {
constexpr std::string_view head = R"({"values":[)";
constexpr std::string_view tail = "]}";
constexpr qsizetype maximumEntries_bytes = NetworkLimits::maximumBody_bytes - head.size() - tail.size();

QByteArray bodyOf(const QByteArray& entries)
{
    QByteArray body;
    body.reserve(entries.size() + static_cast<qsizetype>(head.size() + tail.size()));
    body.append(head).append(entries).append(tail);
    return body;
}

} // namespace

void MessagePacker::append(const QByteArray& body)
{
    if (body.size() > NetworkLimits::maximumBody_bytes) {
        if (m_accepts(body.size())) {
            closeBody();
            m_bodies.append(body);
        } else {
            append(bodyOf("{}"));
        }
        return;
    }
    const QByteArrayView entry = QByteArrayView(body).sliced(head.size()).chopped(tail.size());
    if (!m_entries.isEmpty() && m_entries.size() + 1 + entry.size() > maximumEntries_bytes) {
        closeBody();
    }
    if (!m_entries.isEmpty()) {
        m_entries.append(',');
    }
    m_entries.append(entry);
}

void MessagePacker::closeBody()
{
    if (!m_entries.isEmpty()) {
        m_bodies.append(bodyOf(std::exchange(m_entries, {})));
    }
}

QList<QByteArray> MessagePacker::takeBodies()
{
    closeBody();
    return std::exchange(m_bodies, {});
}
