// SPDX-License-Identifier: GPL-2.0-or-later
#include "changeteller.h"

#include <QCoreApplication>
#include <QEvent>
#include <QHostAddress>
#include <QTcpSocket>

#include <memory>
#include <string_view>

#include <obs.hpp>
#include <sys/socket.h>

namespace {

constexpr std::string_view toldFrame = R"(0018{"name":"changed"})";

} // namespace

ChangeTeller::ChangeTeller()
{
    connect(this, &QTcpServer::newConnection, this, &ChangeTeller::accept);
    listen(QHostAddress(QHostAddress::LocalHost));
}

void ChangeTeller::accept()
{
    QTcpSocket* socket = nextPendingConnection();
    connect(socket, &QTcpSocket::readyRead, this, [this, socket, watch = std::make_shared<OBSSignal>()] {
        const OBSSourceAutoRelease scene = obs_get_source_by_name(socket->readAll().constData());
        const auto wakeUp = [](void* self, calldata_t*) {
            QCoreApplication::postEvent(static_cast<ChangeTeller*>(self), new QEvent(QEvent::User),
                                        Qt::HighEventPriority);
        };
        watch->Connect(obs_source_get_signal_handler(scene), "item_visible", wakeUp, this);
    });
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    m_client = socket->socketDescriptor();
}

bool ChangeTeller::event(QEvent* event)
{
    if (event->type() != QEvent::User) {
        return QTcpServer::event(event);
    }
    send(static_cast<int>(m_client), toldFrame.data(), toldFrame.size(), MSG_NOSIGNAL);
    return true;
}
