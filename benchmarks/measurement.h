// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonObject>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

// Where everything that is measured can be reached, and how much is to be done.
struct Setting
{
    uint16_t plugin = 0;
    uint16_t hostEcho = 0; // in the host's event loop
    uint16_t bareEcho = 0; // in a process of its own
    uint16_t floor = 0;
    uint16_t changes = 0; // told with nothing in between
    uint16_t remote = 0;
    int pid = 0; // the host
    std::string scene;
    int rounds = 5;
    int count = 0; // requests, reads, changes or milliseconds a round
    int controllers = 1;
    bool areLong = false; // controllers with long frames
    bool isEager = false; // acknowledges at once
    bool isAlone = false; // without the remote in reading the scene list
    bool isFloor = false; // changes are told with nothing in between, to one client
};

inline double quantile(std::vector<double> values, double part)
{
    const auto position = static_cast<std::size_t>(part * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(position), values.end());
    return values[position];
}

// One round each. The remote session that they open is asked over one connection.
QJsonObject roundTrips(const Setting& setting);
QJsonObject pipelined(const Setting& setting);
QJsonObject sceneListReads(const Setting& setting);
QJsonObject pushes(const Setting& setting);
QJsonObject idle(const Setting& setting);
