// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "hoststate.h"
#include "kestrelclient.h"

#include <chrono>
#include <functional>
#include <optional>

// A client for programs that do one thing after the other: its operations run an event loop of their own until what
// they wait for has happened. Call nothing of it in a slot of the client.
class Session : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        quint16 port = KestrelClient::defaultPort;
        std::optional<std::chrono::milliseconds> timeout; // how long to wait for something at most, where one is given
        bool isJson = false;                              // the output is for a program
    };

    // Something to be done again and again while waiting.
    struct Poll
    {
        std::function<void()> act;
        std::chrono::milliseconds interval;
    };

    static constexpr std::chrono::milliseconds defaultTimeout {5000};

    explicit Session(const Options& options);

    const Options& options() const { return m_options; }

    std::chrono::milliseconds timeout() const { return m_options.timeout.value_or(defaultTimeout); }

    KestrelClient& client() { return m_client; }

    HostState host() const { return HostState(m_client); }

    // Connects and takes in the full state. When false, ending() says why; it can be tried again.
    bool open(std::chrono::milliseconds limit);

    // True once the condition holds, which is looked at whenever something has arrived, or look() was called. False
    // when the time is over, if there is a limit, or the connection has ended.
    bool waitFor(const std::function<bool()>& condition, std::optional<std::chrono::milliseconds> limit,
                 const Poll& poll = {});

    // Reads properties afresh. False when the answer did not come; unknown names stay without a value.
    bool read(const QStringList& names);

    // Why there is no connection any more; empty while there is one.
    const QString& ending() const { return m_ending; }

    void look() { emit lookedFor(); }

signals:
    void lookedFor();

private:
    const Options m_options;
    KestrelClient m_client;
    QString m_ending;
};
