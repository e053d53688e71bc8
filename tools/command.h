// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "kestrelclient.h"

#include <chrono>
#include <optional>

// One command of kestrelctl, run once: start() begins it in the running event loop, finished() tells its exit status.
class Command : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        quint16 port = KestrelClient::defaultPort;
        std::optional<std::chrono::milliseconds> timeout; // how long to wait at most; the command knows its default
    };

    explicit Command(const Options& options)
        : m_options(options)
    {}

    virtual void start() = 0;

signals:
    void finished(int status);

protected:
    // Says why there is no connection and what to do about it, and ends the command.
    void finishUnconnected(const QString& reason);

    const Options m_options;
    KestrelClient m_client;
};
