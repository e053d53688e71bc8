// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

inline double microseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

inline double quantile(std::vector<double> values, double part)
{
    const std::ptrdiff_t position = std::lround(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + position, values.end());
    return values[static_cast<std::size_t>(position)];
}

// Processor time of another process, which the kernel counts in nanoseconds. That of the main thread is exact while it
// sleeps, as it mostly does after an answer.
class ProcessCpuClock
{
public:
    explicit ProcessCpuClock(int pid)
        : m_path("/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/schedstat")
    {}

    double mainThread_us() const
    {
        std::ifstream file(m_path);
        double time_ns = 0;
        if (!(file >> time_ns)) {
            throw std::runtime_error("cannot read thread times in " + m_path);
        }
        return time_ns / 1000;
    }

private:
    std::string m_path;
};

inline uint16_t port(const QJsonObject& settings, QLatin1StringView peer)
{
    return static_cast<uint16_t>(settings[peer].toInt());
}

// One round each. The settings have the port of each peer ("plugin", "echo", "baseline", "obsWebSocket"), the "pid" of
// OBS, the "count" of requests, reads, changes or milliseconds, and what each function names. Requests for
// obs-websocket are complete messages.

// "studioModeRequest": for obs-websocket.
QJsonObject roundTrips(const QJsonObject& settings);

// The same, and "acknowledgesAtOnce": see Channel.
QJsonObject pipelined(const QJsonObject& settings);

// "sceneListRequests": for obs-websocket, a list that is timed as a whole.
QJsonObject sceneListReads(const QJsonObject& settings);

// "changeRequests": two for obs-websocket, of which the second one undoes the first. "controllers": how many receive
// the changes. "longFrames": whether they understand long frames.
QJsonObject pushes(const QJsonObject& settings);

// "controllers": how many send keep-alives.
QJsonObject idle(const QJsonObject& settings);
