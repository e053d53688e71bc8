// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QObject>

class QIODevice;

// Cuts the byte stream of one connection into JSON objects.
//
// A frame on the wire:
//   4 bytes   the body's length in bytes, ASCII decimal digits, filled on the left with the digit 0
//   n bytes   one JSON object in UTF-8, at most 9999 bytes
// Frames follow each other back to back, without terminator or checksum.
//
// Lives on the device's thread. The device is borrowed. Malformed input is never skipped: after a failure the reader
// keeps its state and must not be used again.
class NetworkReader : public QObject
{
    Q_OBJECT

public:
    explicit NetworkReader(QIODevice* device);

    // Consumes all bytes that the device has available, whatever their division into frames. False, after a log line,
    // on malformed input. Handlers of receivedJson run inside this call and may destroy the reader; they must not call
    // it again.
    bool readFrames();

    // Back to the start of a frame.
    void reset();

signals:
    // One complete frame. Emitted in stream order, each before the next frame is decoded.
    void receivedJson(QJsonObject json);

private:
    bool readHeader();
    bool convertHeader();
    bool readBody();
    bool decodeBody();

    QIODevice* m_device;
    qint32 m_headerBytes = 0;    // minus the number of header bytes still missing
    qint64 m_expectantBytes = 0; // body length that the header announced; 0 until it is converted
    qint64 m_missingBytes = 0;   // body bytes still to come
    QByteArray m_buffer;         // what has arrived of the header, then of the body
};
