// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonObject>

class QIODevice;

// Sends JSON objects as frames (see NetworkReader) on one connection's device, which is borrowed.
class NetworkWriter
{
public:
    explicit NetworkWriter(QIODevice* device);

    // Hands one frame to the device; neither flushes nor waits. False when the device refused the header or the body.
    // An object too long for a frame is left out after a log line, and the peer's stream stays in step: true.
    bool write(const QJsonObject& json);

private:
    QIODevice* m_device;
};
