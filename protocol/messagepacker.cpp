// SPDX-License-Identifier: GPL-2.0-or-later
#include "messagepacker.h"

#include "network/networklimits.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <string_view>
#include <utility>

namespace {
constexpr std::string_view head = R"({"values":[)";
constexpr std::string_view tail = "]}";
constexpr qsizetype maximumEntries_bytes = NetworkLimits::maximumBody_bytes - head.size() - tail.size();
} // namespace

QByteArray MessagePacker::encode(const QJsonValue& entry)
{
    return QJsonDocument(entry.toObject()).toJson(QJsonDocument::Compact);
}

QByteArray MessagePacker::body(const QByteArray& entry)
{
    QByteArray body;
    body.reserve(entry.size() + static_cast<qsizetype>(head.size() + tail.size()));
    body.append(head).append(entry).append(tail);
    return body;
}

void MessagePacker::append(const QByteArray& entry)
{
    if (entry.size() > maximumEntries_bytes) {
        const QByteArray ownBody = body(entry);
        if (m_accepts(ownBody.size())) {
            closeBody();
            m_bodies.append(ownBody);
            return;
        }
        append("{}");
        return;
    }
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
        m_bodies.append(body(std::exchange(m_entries, {})));
    }
}

QList<QByteArray> MessagePacker::takeBodies()
{
    closeBody();
    return std::exchange(m_bodies, {});
}
