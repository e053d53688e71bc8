// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "kestrelclient.h"
#include "studiostate.h"

#include <chrono>
#include <functional>
#include <optional>

// A client for programs that do one thing after another: its functions run an event loop until the expected values have
// arrived. None of them may be called in a slot of the client.
class KestrelSession : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds defaultTimeout {5000};

    explicit KestrelSession(std::chrono::milliseconds timeout = defaultTimeout);

    std::chrono::milliseconds timeout() const { return m_timeout; }

    KestrelClient& client() { return m_client; }

    StudioState state() const { return StudioState(m_client); }

    // Connects and receives the full state, within timeout() unless another limit is given. When false, errorString()
    // gives the reason; it can be tried again.
    [[nodiscard]] bool open(quint16 port = KestrelClient::configuredPort(),
                            std::optional<std::chrono::milliseconds> limit = {});

    // Runs an event loop until the condition is true. It is evaluated on every received value and on stateChanged().
    // False when the limit, if there is one, has passed or the connection has ended.
    bool waitFor(const std::function<bool()>& condition, std::optional<std::chrono::milliseconds> limit);

    // Sends a get and waits for the values. False when the answer did not arrive; unknown names stay without a value.
    [[nodiscard]] bool read(const QStringList& names);

    // Why the connection ended; empty while there is one.
    const QString& errorString() const { return m_errorString; }

signals:
    void stateChanged();

private:
    const std::chrono::milliseconds m_timeout;
    KestrelClient m_client;
    QString m_errorString;
};
