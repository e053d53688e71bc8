// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QAbstractSocket>
#include <QByteArray>

// A TCP socket with buffers of its own in both directions, around a socket of Qt's that has none.
//
// Output is collected until flush(), so that several messages travel in one segment. Input is read on request, and the
// end of the peer's output is reported as a state instead of closing the socket: what the peer still has to receive is
// sent first. (QTcpSocket closes as soon as it has read the end, and drops its unsent bytes.)
class BufferedSocket : public QAbstractSocket
{
    Q_OBJECT

public:
    explicit BufferedSocket(QObject* parent);

    // Reads what has arrived, up to a limit. To be called when readyRead() is emitted, which then can come again. While
    // it is not called, TCP flow control holds the peer back.
    void fill();

    // Lets readyRead() come again after an emission that fill() did not follow, or one in a nested event loop.
    void resumeReading();

    // The peer has shut down its sending side or is gone, and everything that it sent has been read into the buffer.
    bool isPeerFinished() const { return m_isPeerFinished; }

    // Hands the collected output to the system, and what the system does not take to Qt, which emits bytesWritten() as
    // that leaves. Never blocks and emits nothing.
    void flush();

    qint64 bytesAvailable() const override { return m_input.size() - m_read_bytes; }

    // All that has not reached the system.
    qint64 bytesToWrite() const override { return m_output.size() + QAbstractSocket::bytesToWrite(); }

    void disconnectFromHost() override;

protected:
    qint64 readData(char* data, qint64 size) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    QByteArray m_input;
    qsizetype m_read_bytes = 0; // of m_input, from its beginning
    QByteArray m_output;
    bool m_isPeerFinished = false;
};
