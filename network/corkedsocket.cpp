// SPDX-License-Identifier: GPL-2.0-or-later
#include "corkedsocket.h"

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
qsizetype sendNow(qintptr descriptor, const QByteArray& bytes)
{
    return send(static_cast<SOCKET>(descriptor), bytes.constData(), static_cast<int>(bytes.size()), 0);
}

bool isPeerGone()
{
    const int error = WSAGetLastError();
    return error == WSAECONNRESET || error == WSAECONNABORTED;
}
#else
#ifdef MSG_NOSIGNAL
constexpr int withoutSignal = MSG_NOSIGNAL;
#else
constexpr int withoutSignal = 0; // Qt has seen to it
#endif

qsizetype sendNow(qintptr descriptor, const QByteArray& bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    return send(static_cast<int>(descriptor), bytes.constData(), size, withoutSignal);
}

bool isPeerGone()
{
    return errno == EPIPE || errno == ECONNRESET;
}
#endif

} // namespace

void CorkedSocket::uncork()
{
    if (m_corked.isEmpty()) {
        return;
    }
    const QByteArray bytes = std::exchange(m_corked, {});
    const bool isNext = QTcpSocket::bytesToWrite() == 0 && state() == ConnectedState;
    const qsizetype sent = isNext ? sendNow(socketDescriptor(), bytes) : 0;
    if (sent < 0 && isPeerGone()) {
        return; // Qt would drop what it has from the peer; so the next read is the one to notice
    }
    const qsizetype taken = std::max<qsizetype>(sent, 0);
    if (taken < bytes.size()) {
        QTcpSocket::writeData(bytes.constData() + taken, bytes.size() - taken);
    }
}

void CorkedSocket::disconnectFromHost()
{
    uncork();
    QTcpSocket::disconnectFromHost();
}

qint64 CorkedSocket::writeData(const char* data, qint64 size)
{
    if (state() != ConnectedState) {
        return QTcpSocket::writeData(data, size); // knows what to make of it
    }
    m_corked.append(data, size);
    return size;
}
