// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QList>

#include <functional>

// Joins bodies {"values":[entry]} of one entry each to bodies of several: in order, each as full as a frame allows. One
// that is too long for a frame stays as it is where the receiver accepts that, and has its entry replaced by the empty
// object where not.
class MessagePacker
{
public:
    // Asked once for each body that is longer than a frame.
    using Accepts = std::function<bool(qsizetype length_bytes)>;

    explicit MessagePacker(Accepts accepts)
        : m_accepts(std::move(accepts))
    {}

    void append(const QByteArray& body);

    // What was appended, as bodies; nothing when nothing was.
    QList<QByteArray> takeBodies();

private:
    void closeBody();

    Accepts m_accepts;
    QList<QByteArray> m_bodies;
    QByteArray m_entries; // of the body being filled, joined by commas
};
