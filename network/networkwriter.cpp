// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkwriter.h"

#include "networklimits.h"

#include <QIODevice>
#include <QJsonDocument>

NetworkWriter::NetworkWriter(QIODevice* device)
    : m_device(device)
{}

QByteArray NetworkWriter::encode(const QJsonObject& json)
{
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

qsizetype NetworkWriter::maximumBody_bytes() const
{
    return m_hasLongFrames ? NetworkLimits::maximumLongBody_bytes : NetworkLimits::maximumBody_bytes;
}

QByteArray NetworkWriter::refusal(qsizetype length_bytes) const
{
    if (length_bytes > 0 && length_bytes <= maximumBody_bytes()) {
        return {};
    }
    const char* const action = length_bytes > 0 ? "refusing" : "trying";
    return QByteArray("Warning: NetworkWriter ") + action + " to write " + QByteArray::number(length_bytes) + " bytes";
}

bool NetworkWriter::write(const QByteArray& body)
{
    const qsizetype length = body.size();
    if (length == 0 || length > maximumBody_bytes()) {
        return true;
    }
    return length > NetworkLimits::maximumBody_bytes
        ? writeLongFrame(body)
        : write(QByteArray::number(length).rightJustified(NetworkLimits::headerLength_bytes, '0'), body);
}

bool NetworkWriter::writeLongFrame(const QByteArray& body)
{
    const QByteArray digits = QByteArray::number(body.size()).rightJustified(NetworkLimits::longLength_bytes, '0');
    return write(NetworkLimits::longFrameMark + digits, body);
}

bool NetworkWriter::write(const QByteArray& header, const QByteArray& body)
{
    if (m_device->write(header) <= 0 || m_device->write(body) <= 0) {
        return false;
    }
    ++m_frameCount;
    return true;
}
