// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "channel.h"

#include <QByteArray>
#include <QJsonObject>

#include <string>

// Events of the items of a scene, as a subscription.
constexpr int sceneItemEvents = 1 << 7;

// A session with the host's bundled WebSocket remote, with or without events.
Channel remoteSession(uint16_t port, int eventSubscriptions);

std::string remoteRequest(std::string_view type, std::string_view dataJson = "{}");

// What a client of the remote has to do.
class Remote
{
public:
    explicit Remote(uint16_t port)
        : m_channel(remoteSession(port, 0))
    {}

    QJsonObject ask(std::string_view type, const QJsonObject& data = {});

    // Reads what the message of a scene list tells, and throws when it tells something else. The number of requests.
    int readSceneFacts(std::string_view sceneListMessage);

    // The time between requests and their answers so far; what this client does with them is not in it.
    double wire_us() const { return m_wire_us; }

private:
    Channel m_channel;
    double m_wire_us = 0;
};
