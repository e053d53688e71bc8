// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkreader.h"

#include "networklimits.h"
#include "support/log.h"

#include <QIODevice>
#include <QJsonDocument>
#include <QPointer>

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
}

bool NetworkReader::readFrames()
{
    const QPointer<NetworkReader> self(this);
    while (self && m_device->bytesAvailable() > 0) {
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

bool NetworkReader::convertHeader()
{
    bool ok = false;
    m_expectantBytes = QString::fromUtf8(m_buffer).toInt(&ok, 10);
    if (!ok || m_expectantBytes < 0) {
        logInfo("Malformed expectant bytes: %s\n", m_buffer.constData());
        return false;
    }
    m_missingBytes = m_expectantBytes;
    m_buffer.clear();
    return true;
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
    // Through a string, so that invalid UTF-8 becomes U+FFFD instead of an error.
    const QByteArray text = QString::fromUtf8(m_buffer).toUtf8();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        logInfo("Malformed json: %s", text.constData());
        return false;
    }
    const QPointer<NetworkReader> self(this);
    emit receivedJson(document.object());
    if (self) {
        reset();
    }
    return true;
}
