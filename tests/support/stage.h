// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "controller.h"
#include "fakefrontend.h"
#include "frozenclock.h"
#include "hostfixture.h"
#include "logcapture.h"
#include "network/networkserver.h"
#include "protocol/protocoladapter.h"

// The protocol on a real server, in a host of the test's own. libobs has been started.
class Stage
{
public:
    Stage()
    {
        server.start(0);
        warnings.clear();
        previousHandler = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& text) { warnings.append(text); });
    }

    ~Stage()
    {
        qInstallMessageHandler(previousHandler);
        host.raise(OBS_FRONTEND_EVENT_EXIT);
    }

    Q_DISABLE_COPY_MOVE(Stage)

    // Connected, the state that it is sent taken.
    std::unique_ptr<Controller> controller()
    {
        auto connected = std::make_unique<Controller>(server.serverPort());
        connected->next();
        return connected;
    }

    static inline QStringList warnings; // of Qt, which would go to the host's log

    LogCapture log;
    FakeFrontEnd host;
    NetworkServer server {nullptr};
    ProtocolAdapter adapter {&server};

private:
    QtMessageHandler previousHandler = nullptr;
};
