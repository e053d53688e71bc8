// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonObject>

class QIODevice;

// Sends JSON objects as frames (see NetworkReader) on one connection's device, which is borrowed.
class NetworkWriter
{
public:
    explicit NetworkWriter(QIODevice* device);

    // A message as it travels.
    static QByteArray encode(const QJsonObject& json);

    // Hands one frame to the device; neither flushes nor waits. False when the device refused the header or the body.
    // A body for which refusal() has a reason is left out, and the peer's stream stays in step: true.
    bool write(const QByteArray& body);

    bool write(const QJsonObject& json) { return write(encode(json)); }

    // The same, in a long frame whatever the length: the peer learns that this side understands them.
    bool writeLongFrame(const QByteArray& body);

    // The longest body that the peer understands.
    qsizetype maximumBody_bytes() const;

    // Why a body of that length is left out, as a line for the log; empty when it is sent.
    QByteArray refusal(qsizetype length_bytes) const;

    // The peer understands long frames from now on. Only bodies that need one travel in one.
    void setLongFrames(bool on) { m_hasLongFrames = on; }

private:
    bool write(const QByteArray& header, const QByteArray& body);

    QIODevice* m_device;
    bool m_hasLongFrames = false;
};
