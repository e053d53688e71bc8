// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkwriter.h"

#include "networklimits.h"
#include "support/log.h"

#include <QIODevice>
#include <QJsonDocument>

NetworkWriter::NetworkWriter(QIODevice* device)
    : m_device(device)
{}

QByteArray NetworkWriter::encode(const QJsonObject& json)
{
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

bool NetworkWriter::accepts(qsizetype length_bytes) const
{
    if (length_bytes <= NetworkLimits::maximumBody_bytes || m_hasLongFrames) {
        return true;
    }
    logInfo("Warning: NetworkWriter refusing to write %d bytes", static_cast<int>(length_bytes));
    return false;
}

bool NetworkWriter::write(const QByteArray& body)
{
    const int length = static_cast<int>(body.size());
    if (length <= 0) {
        logInfo("Warning: NetworkWriter trying to write %d bytes", length);
        return true;
    }
    if (!accepts(length)) {
        return true;
    }
    const QByteArray digits = QByteArray::number(length);
    const QByteArray header = length > NetworkLimits::maximumBody_bytes
        ? NetworkLimits::longFrameMark + digits.rightJustified(NetworkLimits::longLength_bytes, '0')
        : digits.rightJustified(NetworkLimits::headerLength_bytes, '0');
    return m_device->write(header) > 0 && m_device->write(body) > 0;
}
