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
    // A body that the peer does not accept is left out, and its stream stays in step: true.
    bool write(const QByteArray& body);

    bool write(const QJsonObject& json) { return write(encode(json)); }

    // Whether a body of that length can be sent; a log line says when it cannot.
    bool accepts(qsizetype length_bytes) const;

    // The peer understands long frames from now on. Only bodies that need one travel in one.
    void setLongFrames(bool on) { m_hasLongFrames = on; }

private:
    QIODevice* m_device;
    bool m_hasLongFrames = false;
};
