// SPDX-License-Identifier: GPL-2.0-or-later
#include "kestrelbridge.h"

#include "configfile.h"
#include "settingsdialog.h"
#include "support/log.h"

#include <QAction>
#include <QTimer>

#include <obs-frontend-api.h>

KestrelBridge::KestrelBridge()
    : m_server(this)
    , m_adapter(&m_server)
{
    logInfo("Welcome to KestrelBridge version %s! You're using OBS %d (%s)", version,
            static_cast<int>(obs_get_version()), obs_get_version_string());

    ConfigFile config;
    const int port = config.readPort();
    if (!config.warning().isEmpty()) {
        logInfo("%s", config.warning().constData());
    }
    logInfo("KestrelBridge read port config from: %s and is starting on port %d",
            config.path().toLocal8Bit().constData(), port);
    m_server.start(static_cast<quint16>(port));
}

KestrelBridge::~KestrelBridge()
{
    delete m_dialog;
}

void KestrelBridge::addToolsMenuEntry(obs_module_t* module)
{
    m_module = module;
    if (const auto* entry = static_cast<QAction*>(obs_frontend_add_tools_menu_qaction("&KestrelBridge"))) {
        connect(entry, &QAction::triggered, this, &KestrelBridge::activateDialog);
    }
    if (!m_server.isListening()) {
        QTimer::singleShot(0, this, &KestrelBridge::showDialog); // after the other callbacks of this event
    }
}

void KestrelBridge::showDialog()
{
    if (!m_dialog) {
        m_dialog = new SettingsDialog(&m_server, m_module, static_cast<QWidget*>(obs_frontend_get_main_window()));
        m_dialog->setAttribute(Qt::WA_ShowWithoutActivating);
    }
    m_dialog->show();
}

void KestrelBridge::activateDialog()
{
    showDialog();
    m_dialog->raise();
    m_dialog->activateWindow();
}

void KestrelBridge::stop()
{
    delete m_dialog;
    m_server.stop();
}
