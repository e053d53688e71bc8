// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QAbstractSocket>
#include <QByteArray>

// A TCP socket with its own buffers in both directions, on top of an unbuffered Qt socket.
//
// Output is collected until flush(), so that several messages share a segment. Input is read on request. When the peer
// shuts down its sending side, the socket reports it as a state and stays open, so that unsent bytes still reach the
// peer. (QTcpSocket would close and drop them.)
class BufferedSocket : public QAbstractSocket
{
    Q_OBJECT

public:
    explicit BufferedSocket(QObject* parent);

    // Reads the received bytes, up to a limit. Call it when readyRead() is emitted, or pauseReading().
    void fill();

    // Disables readyRead() until resumeReading(); TCP flow control stops the peer. (Otherwise Qt would report unread
    // bytes only once or twice, but on Windows the end of the stream without pause.)
    void pauseReading();
    void resumeReading();

    // The peer has shut down its sending side or is gone, and everything that it sent has been read into the buffer.
    bool isPeerFinished() const { return m_isPeerFinished; }

    // Passes the collected output to the operating system, and the rest to Qt, which emits bytesWritten() when it is
    // sent. Never blocks and emits nothing.
    void flush();

    qint64 bytesAvailable() const override { return m_input.size() - m_read_bytes; }

    // All bytes that the operating system has not accepted yet.
    qint64 bytesToWrite() const override { return m_output.size() + QAbstractSocket::bytesToWrite(); }

    void disconnectFromHost() override;

protected:
    qint64 readData(char* data, qint64 size) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    QByteArray m_input;
    qsizetype m_read_bytes = 0; // from the beginning of m_input
    QByteArray m_output;
    bool m_isPeerFinished = false;
};
