// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkreader.h"

#include "networklimits.h"
#include "support/log.h"

#include <QIODevice>
#include <QJsonDocument>
#include <QPointer>

#include <algorithm>

NetworkReader::NetworkReader(QIODevice* device)
    : m_device(device)
{
    reset();
}

void NetworkReader::reset()
{
    m_headerBytes = -NetworkLimits::headerLength_bytes;
    m_expectantBytes = 0;
    m_missingBytes = 0;
    m_buffer.clear();
    m_isBodyLong = false;
}

bool NetworkReader::readFrames(QDeadlineTimer deadline)
{
    const QPointer<NetworkReader> self(this);
    while (self && m_device->bytesAvailable() > 0) {
        const bool isFrameStart = m_headerBytes == -NetworkLimits::headerLength_bytes;
        if (isFrameStart && deadline.hasExpired()) {
            return true;
        }
        if (m_headerBytes < 0 && !readHeader()) {
            return false;
        }
        if (m_headerBytes == 0 && !readBody()) {
            return false;
        }
    }
    return true;
}

bool NetworkReader::readHeader()
{
    m_expectantBytes = 0;
    m_missingBytes = 0;
    const QByteArray bytes = m_device->read(-m_headerBytes);
    if (bytes.isEmpty()) {
        logInfo("No header bytes found");
        return false;
    }
    m_buffer += bytes;
    m_headerBytes += static_cast<qint32>(bytes.size());
    return m_headerBytes < 0 || convertHeader();
}

bool NetworkReader::isLongFrame() const
{
    return m_buffer.startsWith(NetworkLimits::longFrameMark);
}

bool NetworkReader::convertHeader()
{
    if (isLongFrame() && m_buffer.size() == NetworkLimits::headerLength_bytes) {
        m_headerBytes = -NetworkLimits::longLength_bytes;
        return true;
    }
    const std::optional<qint64> length = announcedLength();
    if (!length) {
        logInfo("Malformed expectant bytes: %s\n", m_buffer.constData());
        return false;
    }
    m_isBodyLong = isLongFrame();
    m_expectantBytes = *length;
    m_missingBytes = *length;
    m_buffer.clear();
    return true;
}

std::optional<qint64> NetworkReader::announcedLength() const
{
    bool ok = false;
    if (isLongFrame()) {
        const QByteArrayView digits = QByteArrayView(m_buffer).sliced(NetworkLimits::headerLength_bytes);
        const bool areDigits = std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
        const int length = digits.toInt(&ok, 10);
        return areDigits && ok && length <= NetworkLimits::maximumInboundBody_bytes ? std::optional(length)
                                                                                    : std::nullopt;
    }
    const int length = QString::fromUtf8(m_buffer).toInt(&ok, 10);
    return ok && length >= 0 ? std::optional(length) : std::nullopt;
}

bool NetworkReader::readBody()
{
    const QByteArray bytes = m_device->read(m_missingBytes);
    m_missingBytes -= bytes.size();
    m_buffer += bytes;
    return m_missingBytes > 0 || decodeBody();
}

bool NetworkReader::decodeBody()
{
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(m_buffer, &error);
    if (error.error != QJsonParseError::NoError) {
        // Once more through a string, in which invalid UTF-8 has become U+FFFD.
        m_buffer = QString::fromUtf8(m_buffer).toUtf8();
        document = QJsonDocument::fromJson(m_buffer, &error);
    }
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        logInfo("Malformed json: %s", m_buffer.constData());
        return false;
    }
    m_hasReadLongFrame |= m_isBodyLong;
    const QPointer<NetworkReader> self(this);
    emit receivedJson(document.object());
    if (self) {
        reset();
    }
    return true;
}
