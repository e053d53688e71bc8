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

    // A message as compact JSON.
    static QByteArray encode(const QJsonObject& json);

    // Writes one frame to the device; neither flushes nor blocks. Returns false when the device refuses the header or
    // the body. A body for which refusal() returns a reason is left out and counts as written.
    bool write(const QByteArray& body);

    bool write(const QJsonObject& json) { return write(encode(json)); }

    // Writes a long frame whatever the length, which shows the peer that this side accepts long frames.
    bool writeLongFrame(const QByteArray& body);

    // The longest body that the peer accepts.
    qsizetype maximumBody_bytes() const;

    // Why a body of that length is left out, as a line for the log. Empty when it is sent.
    QByteArray refusal(qsizetype length_bytes) const;

    // How many frames the device has taken.
    quint64 frameCount() const { return m_frameCount; }

    // Enables long frames, if the peer accepts them. They are used only for bodies that need one.
    void setLongFrames(bool on) { m_hasLongFrames = on; }

private:
    bool write(const QByteArray& header, const QByteArray& body);

    QIODevice* m_device;
    quint64 m_frameCount = 0;
    bool m_hasLongFrames = false;
};
