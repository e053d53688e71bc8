// SPDX-License-Identifier: GPL-2.0-or-later
#include "networkreader.h"

#include <QIODevice>
#include <QJsonDocument>
#include <QPointer>

#include <algorithm>

NetworkReader::NetworkReader(QIODevice* device, qint64 maximumBody_bytes)
    : m_device(device)
    , m_maximumBody_bytes(maximumBody_bytes)
{
    reset();
}

void NetworkReader::reset()
{
    m_state = State::Header;
    m_missing_bytes = NetworkLimits::headerLength_bytes;
    m_buffer.clear();
    m_error = Error::None;
}

bool NetworkReader::readFrames(const std::function<bool()>& mayContinue)
{
    const QPointer<NetworkReader> self(this);
    while (self && m_device->bytesAvailable() > 0) {
        const bool isFrameStart = m_state == State::Header && m_buffer.isEmpty();
        if (isFrameStart && mayContinue && !mayContinue()) {
            return true;
        }
        if (m_state != State::Body && !readHeader()) {
            return false;
        }
        if (m_state == State::Body && !readBody()) {
            return false;
        }
    }
    return true;
}

bool NetworkReader::readHeader()
{
    const QByteArray bytes = m_device->read(m_missing_bytes);
    if (bytes.isEmpty()) {
        return fail(Error::NoHeaderBytes);
    }
    m_buffer += bytes;
    m_missing_bytes -= bytes.size();
    return m_missing_bytes > 0 || convertHeader();
}

bool NetworkReader::convertHeader()
{
    if (m_state == State::Header && m_buffer == NetworkLimits::longFrameMark) {
        m_state = State::LongHeader;
        m_missing_bytes = NetworkLimits::longLength_bytes;
        return true;
    }
    const std::optional<qint64> length = announcedLength();
    if (!length) {
        return fail(Error::MalformedLength);
    }
    m_hasReadLongFrame |= m_state == State::LongHeader;
    m_state = State::Body;
    m_missing_bytes = *length;
    m_buffer.clear();
    return true;
}

std::optional<qint64> NetworkReader::announcedLength() const
{
    bool ok = false;
    if (m_state == State::LongHeader) {
        const QByteArrayView digits = QByteArrayView(m_buffer).sliced(NetworkLimits::headerLength_bytes);
        const bool areDigits = std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
        const int length = digits.toInt(&ok, 10);
        return areDigits && ok && length <= m_maximumBody_bytes ? std::optional(length) : std::nullopt;
    }
    const int length = QString::fromUtf8(m_buffer).toInt(&ok, 10);
    return ok && length >= 0 ? std::optional(length) : std::nullopt;
}

bool NetworkReader::readBody()
{
    const QByteArray bytes = m_device->read(m_missing_bytes);
    m_missing_bytes -= bytes.size();
    m_buffer += bytes;
    return m_missing_bytes > 0 || decodeBody();
}

bool NetworkReader::decodeBody()
{
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(m_buffer, &error);
    if (error.error != QJsonParseError::NoError) {
        // Try again with invalid UTF-8 replaced by U+FFFD.
        m_buffer = QString::fromUtf8(m_buffer).toUtf8();
        document = QJsonDocument::fromJson(m_buffer, &error);
    }
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return fail(Error::MalformedJson);
    }
    const QPointer<NetworkReader> self(this);
    emit receivedJson(document.object());
    if (self) {
        reset();
    }
    return true;
}

bool NetworkReader::fail(Error error)
{
    m_error = error;
    return false;
}

QByteArray NetworkReader::errorString() const
{
    // The text in the log ends at the first zero byte.
    const char* text = m_buffer.constData();
    switch (m_error) {
    case Error::NoHeaderBytes:
        return "No header bytes found";
    case Error::MalformedLength:
        return QByteArray("Malformed expectant bytes: ") + text + '\n';
    case Error::MalformedJson:
        return QByteArray("Malformed json: ") + text;
    case Error::None:
        break;
    }
    return {};
}
