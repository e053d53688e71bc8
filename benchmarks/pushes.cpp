// SPDX-License-Identifier: GPL-2.0-or-later
//
// What controllers are told, and what they cost while nothing happens.
#include "hostclock.h"
#include "measurement.h"
#include "remote.h"

#include <QJsonArray>

#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>

#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::string_view nothing = R"({"values":[]})";
constexpr auto keepAliveInterval = 3s; // a controller may be silent for 5 s
constexpr std::size_t searchedLength_bytes = 250;
constexpr auto changeLimit = 20s;
constexpr auto pauseForHost = 40ms; // between changes, in which the host paints what has changed

// Many controllers that keep alive.
class Crowd
{
public:
    explicit Crowd(const Setting& setting)
    {
        if (setting.isFloor) {
            m_channels.emplace_back(Channel::Kind::Frames, setting.changes);
            m_channels.back().send(setting.scene);
            return;
        }
        for (int i = 0; i < setting.controllers; ++i) {
            m_channels.push_back(controller(setting.plugin));
            m_lastSent.push_back(Clock::now());
            if (setting.areLong) {
                m_channels.back().send(Channel::longFrame(nothing));
            }
            keepAlive();
        }
    }

    // To be called often.
    void keepAlive()
    {
        const Clock::time_point now = Clock::now();
        for (std::size_t i = 0; i < m_lastSent.size(); ++i) {
            if (now - m_lastSent[i] > keepAliveInterval) {
                m_channels[i].send(m_channels[i].encode(nothing));
                m_lastSent[i] = now;
            }
        }
    }

    std::vector<Channel>& channels() { return m_channels; }

private:
    std::vector<Channel> m_channels;
    std::vector<Clock::time_point> m_lastSent;
};

// Makes a change in the host and sees it arrive, at every controller and in the remote's own event.
class Change
{
public:
    Change(const Setting& setting, Crowd& crowd)
        : m_crowd(crowd)
        , m_asking(remoteSession(setting.remote, 0))
        , m_events(remoteSession(setting.remote, sceneItemEvents))
        , m_scene(setting.scene)
        , m_told(setting.isFloor ? R"("changed")" : R"("name":"sourceVisibles")")
        , m_isTold(crowd.channels().size() + 1)
        , m_poll(epoll_create1(EPOLL_CLOEXEC))
    {
        for (std::size_t i = 0; i < m_isTold.size(); ++i) {
            epoll_event event {EPOLLIN, {.u64 = i}};
            epoll_ctl(m_poll, EPOLL_CTL_ADD, listener(i).descriptor(), &event);
        }
    }

    ~Change() { close(m_poll); }

    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    // Hides or shows the bottom-most item of the scene. The times until every controller has the mask, and until the
    // event has come.
    std::pair<double, double> make()
    {
        m_isVisible = !m_isVisible;
        const std::string request
            = m_asking.encode(remoteRequest("SetSceneItemEnabled",
                                            R"({"sceneName":")" + m_scene + R"(","sceneItemId":1,"sceneItemEnabled":)"
                                                + (m_isVisible ? "true}" : "false}")));
        m_isTold.assign(m_isTold.size(), false);
        m_waiting = m_isTold.size();
        m_begin = Clock::now();
        m_asking.send(request);
        while (m_waiting > 0) {
            takeWhatComes();
        }
        if (m_asking.receive().find(R"("result":true)") == std::string_view::npos) {
            throw std::runtime_error("the remote did not make the change");
        }
        return {m_pushed_us, m_event_us};
    }

private:
    // The controllers, then the event session.
    Channel& listener(std::size_t index)
    {
        return index < m_crowd.channels().size() ? m_crowd.channels()[index] : m_events;
    }

    void takeWhatComes()
    {
        std::array<epoll_event, 64> ready {};
        const int count
            = epoll_wait(m_poll, ready.data(), ready.size(), std::chrono::milliseconds(changeLimit).count());
        if (count <= 0) {
            throw std::runtime_error("a change was not told to everybody");
        }
        for (int i = 0; i < count; ++i) {
            const std::size_t index = ready[static_cast<std::size_t>(i)].data.u64;
            const bool isEvent = index + 1 == m_isTold.size();
            listener(index).read();
            if (hasTaken(listener(index), isEvent ? "SceneItemEnableStateChanged" : m_told) && !m_isTold[index]) {
                (isEvent ? m_event_us : m_pushed_us) = microseconds(Clock::now() - m_begin);
                m_isTold[index] = true;
                --m_waiting;
            }
        }
    }

    static bool hasTaken(Channel& channel, std::string_view text)
    {
        while (const std::optional<std::string_view> body = channel.take()) {
            // What is waited for is short; a scene list need not be searched.
            if (body->size() < searchedLength_bytes && body->find(text) != std::string_view::npos) {
                return true;
            }
        }
        return false;
    }

    Crowd& m_crowd;
    Channel m_asking;
    Channel m_events;
    std::string m_scene;
    std::string_view m_told;
    std::vector<bool> m_isTold;
    std::size_t m_waiting = 0;
    int m_poll;
    bool m_isVisible = true;
    Clock::time_point m_begin;
    double m_pushed_us = 0;
    double m_event_us = 0;
};

// The main thread's time while the controllers only keep alive, a second.
double mainThreadIdle_us(const HostClock& clock, Crowd& crowd, Clock::duration duration)
{
    const double before_us = clock.mainThread_us();
    const Clock::time_point begin = Clock::now();
    while (Clock::now() - begin < duration) {
        crowd.keepAlive();
        poll(nullptr, 0, 1);
    }
    return (clock.mainThread_us() - before_us) / (microseconds(Clock::now() - begin) / 1e6);
}

} // namespace

QJsonObject pushes(const Setting& setting)
{
    const HostClock clock(setting.pid);
    Crowd crowd(setting);
    Change change(setting, crowd);
    change.make(); // and what has to be made once
    std::vector<double> pushed_us;
    std::vector<double> event_us;
    const double before_us = clock.mainThread_us();
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < setting.count || i % 2 == 0; ++i) { // leaves the item as it was
        crowd.keepAlive();
        std::this_thread::sleep_for(pauseForHost);
        const auto [pushed, event] = change.make();
        pushed_us.push_back(pushed);
        event_us.push_back(event);
    }
    // Without what the main thread does anyway, with as many controllers and for as long.
    const Clock::duration duration = Clock::now() - begin;
    const double busy_us = clock.mainThread_us() - before_us;
    const double anyway_us = mainThreadIdle_us(clock, crowd, duration) * microseconds(duration) / 1e6;
    return {{"pushed_us"_L1, quantile(pushed_us, 0.5)},
            {"event_us"_L1, quantile(event_us, 0.5)},
            {"main_us"_L1, (busy_us - anyway_us) / static_cast<double>(pushed_us.size())}};
}

QJsonObject idle(const Setting& setting)
{
    const HostClock clock(setting.pid);
    Crowd crowd(setting);
    return {{"mainPerSecond_us"_L1, mainThreadIdle_us(clock, crowd, std::chrono::milliseconds(setting.count))}};
}
