// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QList>

#include <functional>

// Joins encoded entries to the bodies of messages {"values":[entry,...]}: in order, each body as full as a frame
// allows. An entry that is too long for a frame by itself gets a body of its own where the receiver accepts that, and
// is replaced by the empty object where not.
class MessagePacker
{
public:
    // Asked once for each body that is longer than a frame.
    using Accepts = std::function<bool(qsizetype length_bytes)>;

    explicit MessagePacker(Accepts accepts)
        : m_accepts(std::move(accepts))
    {}

    static QByteArray encode(const QJsonValue& entry);

    // The message of one entry.
    static QByteArray body(const QByteArray& entry);

    void append(const QByteArray& entry);

    // What was appended, as bodies; nothing when nothing was.
    QList<QByteArray> takeBodies();

private:
    void closeBody();

    Accepts m_accepts;
    QList<QByteArray> m_bodies;
    QByteArray m_entries; // of the body being filled, joined by commas
};
