// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "command.h"

// Waits until a controller can connect and the full state has arrived.
class WaitCommand : public Command
{
    Q_OBJECT

public:
    explicit WaitCommand(const Options& options);

    void start() override;

private:
    void retryLater(const QString& reason);

    QTimer m_deadlineTimer;
    QTimer m_retryTimer;
    QString m_lastReason;
};
