// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QJsonObject>
#include <QObject>

#include <optional>

class QIODevice;

// Cuts the byte stream of one connection into JSON objects.
//
// A frame on the wire:
//   4 bytes   the body's length in bytes, ASCII decimal digits, filled on the left with the digit 0
//   n bytes   one JSON object in UTF-8, at most 9999 bytes
// A long frame:
//   4 bytes   ####
//   8 bytes   the body's length as eight ASCII decimal digits, at most 1 MiB here
//   n bytes   one JSON object in UTF-8
// Frames follow each other back to back, without terminator or checksum.
//
// Lives on the device's thread. The device is borrowed. Malformed input is never skipped: after a failure the reader
// keeps its state and must not be used again.
class NetworkReader : public QObject
{
    Q_OBJECT

public:
    explicit NetworkReader(QIODevice* device);

    // Consumes the bytes that the device has available, whatever their division into frames, until none is left or the
    // deadline has passed at the end of a frame. False, after a log line, on malformed input. Handlers of receivedJson
    // run inside this call and may destroy the reader; they must not call it again.
    bool readFrames(QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever));

    // Whether the peer has sent a long frame, and so understands them.
    bool hasReadLongFrame() const { return m_hasReadLongFrame; }

    // Back to the start of a frame.
    void reset();

signals:
    // One complete frame. Emitted in stream order, each before the next frame is decoded.
    void receivedJson(QJsonObject json);

private:
    bool readHeader();
    bool convertHeader();
    std::optional<qint64> announcedLength() const;
    bool isLongFrame() const;
    bool readBody();
    bool decodeBody();

    QIODevice* m_device;
    qint32 m_headerBytes = 0;    // minus the number of header bytes still missing
    qint64 m_expectantBytes = 0; // body length that the header announced; 0 until it is converted
    qint64 m_missingBytes = 0;   // body bytes still to come
    QByteArray m_buffer;         // what has arrived of the header, then of the body
    bool m_isBodyLong = false;
    bool m_hasReadLongFrame = false;
};
