// SPDX-License-Identifier: GPL-2.0-or-later
#include "bufferedsocket.h"

#include "networklimits.h"

#include <QSocketNotifier>

#include <algorithm>
#include <utility>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <cerrno>

#include <sys/socket.h>
#endif

namespace {

#ifdef Q_OS_WIN
qsizetype sendToSocket(qintptr descriptor, const QByteArray& bytes)
{
    return send(static_cast<SOCKET>(descriptor), bytes.constData(), static_cast<int>(bytes.size()), 0);
}

bool isConnectionReset()
{
    const int error = WSAGetLastError();
    return error == WSAECONNRESET || error == WSAECONNABORTED;
}

bool isStreamOpen(qintptr descriptor)
{
    char byte = 0;
    const int count = recv(static_cast<SOCKET>(descriptor), &byte, 1, MSG_PEEK);
    return count > 0 || (count < 0 && WSAGetLastError() == WSAEWOULDBLOCK);
}
#else
#ifdef MSG_NOSIGNAL
constexpr int sendFlags = MSG_NOSIGNAL;
#else
constexpr int sendFlags = 0; // Qt ignores SIGPIPE
#endif

qsizetype sendToSocket(qintptr descriptor, const QByteArray& bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    return send(static_cast<int>(descriptor), bytes.constData(), size, sendFlags);
}

bool isConnectionReset()
{
    return errno == EPIPE || errno == ECONNRESET;
}

bool isStreamOpen(qintptr descriptor)
{
    char byte = 0;
    const ssize_t count = recv(static_cast<int>(descriptor), &byte, 1, MSG_PEEK);
    return count > 0 || (count < 0 && errno == EAGAIN);
}
#endif

} // namespace

BufferedSocket::BufferedSocket(QObject* parent)
    : QAbstractSocket(TcpSocket, parent)
{}

void BufferedSocket::fill()
{
    const qint64 arrived = QAbstractSocket::bytesAvailable();
    if (arrived <= 0) {
        // The end of the stream is reported as readable. So are bytes that waitForReadyRead() has made us read already.
        m_isPeerFinished = !isStreamOpen(socketDescriptor());
        if (m_isPeerFinished) {
            pauseReading();
        }
        return;
    }
    m_input.remove(0, std::exchange(m_read_bytes, 0));
    const qsizetype before = m_input.size();
    const qint64 room = NetworkLimits::readAhead_bytes - before;
    m_input.resize(before + std::clamp<qint64>(arrived, 0, room));
    const qint64 received = QAbstractSocket::readData(m_input.data() + before, m_input.size() - before);
    m_input.resize(before + std::max<qint64>(received, 0));
    m_isPeerFinished = received < 0;
}

void BufferedSocket::pauseReading()
{
    for (QSocketNotifier* notifier : findChildren<QSocketNotifier*>()) {
        if (notifier->type() == QSocketNotifier::Read) {
            notifier->setEnabled(false);
        }
    }
}

void BufferedSocket::resumeReading()
{
    QAbstractSocket::readData(nullptr, 0);
}

void BufferedSocket::flush()
{
    if (m_output.isEmpty()) {
        return;
    }
    const QByteArray bytes = std::exchange(m_output, {});
    if (state() != ConnectedState) {
        return;
    }
    // Bypass Qt, which closes the socket and discards unread input when the peer has reset the connection.
    const bool isQtBufferEmpty = QAbstractSocket::bytesToWrite() == 0;
    const qsizetype sent = isQtBufferEmpty ? sendToSocket(socketDescriptor(), bytes) : 0;
    if (sent < 0 && isConnectionReset()) {
        return; // the next read reports it
    }
    const qsizetype taken = std::max<qsizetype>(sent, 0);
    if (taken < bytes.size()) {
        QAbstractSocket::writeData(bytes.constData() + taken, bytes.size() - taken);
    }
}

void BufferedSocket::disconnectFromHost()
{
    flush();
    QAbstractSocket::disconnectFromHost();
}

qint64 BufferedSocket::readData(char* data, qint64 size)
{
    const qint64 count = std::min<qint64>(size, bytesAvailable());
    std::copy_n(m_input.cbegin() + m_read_bytes, count, data);
    m_read_bytes += count;
    return count;
}

qint64 BufferedSocket::writeData(const char* data, qint64 size)
{
    if (state() != ConnectedState) {
        return QAbstractSocket::writeData(data, size); // sets the error
    }
    m_output.append(data, size);
    return size;
}
