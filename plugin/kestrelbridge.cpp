// SPDX-License-Identifier: GPL-2.0-or-later
#include "kestrelbridge.h"

#include "configfile.h"
#include "support/log.h"

KestrelBridge::KestrelBridge()
    : m_server(this)
    , m_adapter(&m_server)
{
    logInfo("Welcome to KestrelBridge version %s! You're using OBS %d (%s)", version,
            static_cast<int>(obs_get_version()), obs_get_version_string());

    ConfigFile config;
    const int port = config.readPort();
    logInfo("KestrelBridge read port config from: %s and is starting on port %d",
            config.path().toLocal8Bit().constData(), port);
    m_server.start(static_cast<quint16>(port));
}
