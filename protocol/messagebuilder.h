// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QList>

#include <utility>

// Wraps entries into messages {"values":[entry...]}: in order, each message as full as a short frame allows. An entry
// that fits no short frame has a message of its own.
class MessageBuilder
{
public:
    // A message of entries that are joined by commas.
    static QByteArray message(const QByteArray& entries);

    // The longest message that the receiver accepts.
    explicit MessageBuilder(qsizetype maximumBody_bytes)
        : m_maximumBody_bytes(maximumBody_bytes)
    {}

    // Returns the length of the message that the receiver does not accept, else 0. An empty entry takes its place then.
    [[nodiscard]] qsizetype append(const QByteArray& entry);

    // The messages to which nothing can be added any more.
    QList<QByteArray> takeFull() { return std::exchange(m_full, {}); }

    // All messages; none when nothing was appended.
    QList<QByteArray> takeAll();

    // Of all that was appended and not taken.
    qsizetype size_bytes() const;

private:
    void close();

    qsizetype m_maximumBody_bytes;
    QList<QByteArray> m_full;
    QByteArray m_entries; // of the message being filled, joined by commas
};
