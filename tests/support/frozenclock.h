// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QtGlobal>

#include <chrono>

// Stops the monotonic clock of the process, on which all of Qt's timers run, while it exists: only advance() moves it.
// So a test of seconds takes none, and compares exact times. Sockets and posted events work as usual. One at a time.
// Not on Windows.
class FrozenClock
{
public:
    FrozenClock();
    ~FrozenClock();
    Q_DISABLE_COPY_MOVE(FrozenClock)

    void advance(std::chrono::milliseconds duration);
};
