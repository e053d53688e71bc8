// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "command.h"
#include "interruption.h"

// Prints the live state once, then every change as it comes, until interrupted or until the plug-in closes the
// connection.
class WatchCommand : public Command
{
    Q_OBJECT

public:
    explicit WatchCommand(const Options& options);

    void start() override;

private:
    void printState();
    void printChange(const QString& name);
    QString sceneListChange();

    Interruption m_interruption;
    QTimer m_stateTimer;
    QStringList m_sceneTexts; // the scenes as last printed
};
