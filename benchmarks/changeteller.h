// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QTcpServer>

// Tells of an item that is shown or hidden as soon as the host's event loop can: a fixed frame for every change in the
// scene whose name the client has sent. One client at a time. Lives on the thread that made it, and listens on a free
// loopback port.
class ChangeTeller : public QTcpServer
{
    Q_OBJECT

public:
    ChangeTeller();

protected:
    bool event(QEvent* event) override;

private:
    void accept();

    qintptr m_client = -1; // its descriptor
};
