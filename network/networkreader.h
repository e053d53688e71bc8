// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "networklimits.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>

#include <functional>
#include <optional>

class QIODevice;

// Splits the byte stream of one connection into JSON objects. Both ends of the connection use it.
//
// A frame on the wire:
//   4 bytes   the body's length in bytes, ASCII decimal digits, filled on the left with the digit 0
//   n bytes   one JSON object in UTF-8, at most 9999 bytes
// A long frame:
//   4 bytes   ####
//   8 bytes   the body's length as eight ASCII decimal digits, at most what the receiver accepts
//   n bytes   one JSON object in UTF-8
// Frames follow each other back to back, without terminator or checksum.
//
// Lives on the device's thread. The device is borrowed. Malformed input is never skipped: after a failure the reader
// keeps its state and must not be used again before reset().
class NetworkReader : public QObject
{
    Q_OBJECT

public:
    enum class Error {
        None,
        NoHeaderBytes, // the device reported available bytes but returned none
        MalformedLength,
        MalformedJson,
    };

    // Takes the largest body that is accepted in a long frame; a longer one is malformed.
    explicit NetworkReader(QIODevice* device, qint64 maximumBody_bytes = NetworkLimits::maximumInboundBody_bytes);

    // Reads the available bytes of the device, complete frames or not, until none is left or mayContinue, called at the
    // start of each frame, returns false. Returns false on malformed input, see error().
    // Handlers of receivedJson run inside this call and may destroy the reader; they must not call readFrames().
    bool readFrames(const std::function<bool()>& mayContinue = {});

    // Why readFrames() returned false, as a code and as a line for the log.
    Error error() const { return m_error; }

    QByteArray errorString() const;

    // Whether the peer has sent a long frame, which means that it accepts them.
    bool hasReadLongFrame() const { return m_hasReadLongFrame; }

    // Returns to the start of a frame and clears the error.
    void reset();

signals:
    // One complete frame. Emitted in stream order, each before the next frame is decoded.
    void receivedJson(QJsonObject json);

private:
    enum class State {
        Header,
        LongHeader,
        Body,
    };

    bool readHeader();
    bool convertHeader();
    std::optional<qint64> announcedLength() const;
    bool readBody();
    bool decodeBody();
    bool fail(Error error);

    QIODevice* m_device;
    qint64 m_maximumBody_bytes;
    State m_state = State::Header;
    qint64 m_missing_bytes = 0; // of the header or body that the state names
    QByteArray m_buffer;        // the received part of the header, including the mark of a long one, or of the body
    bool m_hasReadLongFrame = false;
    Error m_error = Error::None;
};
