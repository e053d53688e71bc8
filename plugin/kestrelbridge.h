// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "network/networkserver.h"
#include "protocol/protocoladapter.h"

#include <QObject>

// The plug-in: owns the server and, built after it and destroyed before it, the protocol on top. Its construction
// settles the port and starts the server. Main thread only.
class KestrelBridge : public QObject
{
    Q_OBJECT

public:
    KestrelBridge();

    static constexpr char version[] = KESTREL_VERSION;

private:
    friend void frontendEventCallback(enum obs_frontend_event event, void* private_data);

    NetworkServer m_server;
    ProtocolAdapter m_adapter;
};
