// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QObject>
#include <QTimer>

// Turns Ctrl-C and the request to terminate into a Qt signal. One at a time: it takes the process's handlers for its
// lifetime. A handler may do nothing but set a flag, on every system, so the flag is looked at by a timer.
class Interruption : public QObject
{
    Q_OBJECT

public:
    explicit Interruption(QObject* parent = nullptr);
    ~Interruption() override;

signals:
    void requested();

private:
    QTimer m_timer;
};
