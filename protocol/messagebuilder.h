// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QList>

#include <utility>

// Wraps entries into messages {"values":[entry...]}: in order, each message as full as a short frame allows. An entry
// that does not fit into a short frame gets its own message.
class MessageBuilder
{
public:
    // Wraps entries that are already joined by commas.
    static QByteArray message(const QByteArray& entries);

    // Takes the length of the longest message that the receiver accepts.
    explicit MessageBuilder(qsizetype maximumBody_bytes)
        : m_maximumBody_bytes(maximumBody_bytes)
    {}

    // Returns 0. If the receiver does not accept a message with this entry, appends an empty entry instead and returns
    // the length of that message.
    [[nodiscard]] qsizetype append(const QByteArray& entry);

    // Removes and returns the complete messages, without the one being filled.
    QList<QByteArray> takeFull() { return std::exchange(m_full, {}); }

    // Removes and returns all messages; none when nothing was appended.
    QList<QByteArray> takeAll();

    // The size of all that has been appended and not taken.
    qsizetype size_bytes() const;

private:
    void close();

    qsizetype m_maximumBody_bytes;
    QList<QByteArray> m_full;
    QByteArray m_entries; // of the message being filled, joined by commas
};
