// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "controller.h"
#include "fakefrontend.h"
#include "frozenclock.h"
#include "logcapture.h"
#include "network/networkserver.h"
#include "obsruntime.h"
#include "protocol/protocoladapter.h"

// Server and protocol with the fake front end. libobs has been started.
class ProtocolFixture
{
public:
    ProtocolFixture()
    {
        server.start(0);
        warnings.clear();
        previousHandler = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& text) { warnings.append(text); });
    }

    ~ProtocolFixture()
    {
        qInstallMessageHandler(previousHandler);
        host.raise(OBS_FRONTEND_EVENT_EXIT);
    }

    Q_DISABLE_COPY_MOVE(ProtocolFixture)

    // Connected, and its full state received.
    std::unique_ptr<Controller> controller()
    {
        auto connected = std::make_unique<Controller>(server.serverPort());
        connected->next();
        return connected;
    }

    static inline QStringList warnings; // of Qt, which OBS would log

    LogCapture log;
    FakeFrontEnd host;
    NetworkServer server {nullptr};
    ProtocolAdapter adapter {&server};

private:
    QtMessageHandler previousHandler = nullptr;
};
