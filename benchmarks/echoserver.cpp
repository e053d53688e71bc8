// SPDX-License-Identifier: GPL-2.0-or-later
#include "echoserver.h"

#include <QHostAddress>
#include <QTcpSocket>

EchoServer::EchoServer(Answer answer)
    : m_answer(std::move(answer))
{
    connect(this, &QTcpServer::newConnection, this, &EchoServer::accept);
    listen(QHostAddress(QHostAddress::LocalHost));
}

void EchoServer::accept()
{
    while (QTcpSocket* socket = nextPendingConnection()) {
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
            const QByteArray input = socket->readAll();
            socket->write(m_answer ? m_answer(input) : input);
        });
    }
}
