// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkwriter.h"

#include "networklimits.h"
#include "support/log.h"

#include <QIODevice>
#include <QJsonDocument>

NetworkWriter::NetworkWriter(QIODevice* device)
    : m_device(device)
{}

bool NetworkWriter::write(const QJsonObject& json)
{
    const QByteArray body = QJsonDocument(json).toJson(QJsonDocument::Compact);
    const int length = static_cast<int>(body.size());
    if (length <= 0) {
        logInfo("Warning: NetworkWriter trying to write %d bytes", length);
        return true;
    }
    if (length > NetworkLimits::maximumBody_bytes) {
        logInfo("Warning: NetworkWriter refusing to write %d bytes", length);
        return true;
    }
    const QByteArray header = QByteArray::number(length).rightJustified(NetworkLimits::headerLength_bytes, '0');
    return m_device->write(header) > 0 && m_device->write(body) > 0;
}
