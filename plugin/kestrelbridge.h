// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "network/networkserver.h"
#include "protocol/protocoladapter.h"

#include <QObject>
#include <QPointer>

#include <obs.h>

class SettingsDialog;

// The plug-in: owns the server and the protocol on top of it, which is destroyed first. Its constructor reads the port
// from the configuration file and starts the server. Main thread only.
class KestrelBridge : public QObject
{
    Q_OBJECT

public:
    KestrelBridge();
    ~KestrelBridge() override;

    static constexpr char version[] = KESTREL_VERSION;

private:
    friend void frontendEventCallback(enum obs_frontend_event event, void* private_data);

    // Adds the entry to the Tools menu of OBS, and opens the dialog when the server does not listen. The main window
    // owns the entry and the dialog, and is destroyed before the plug-in.
    void addToolsMenuEntry(obs_module_t* module);

    void showDialog(); // the focus stays where it is
    void activateDialog();

    // Closes the dialog and ends every connection, for the exit of OBS.
    void stop();

    NetworkServer m_server;
    ProtocolAdapter m_adapter;
    obs_module_t* m_module = nullptr;
    QPointer<SettingsDialog> m_dialog; // exists while it is open
};
