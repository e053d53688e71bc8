// SPDX-License-Identifier: GPL-2.0-or-later
//
// Pushes to controllers, and what controllers cost while nothing changes.
#include "channel.h"
#include "measurement.h"

#include <QJsonArray>

#include <array>
#include <thread>

#include <sys/epoll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::string_view emptyMessage = R"({"values":[]})";
constexpr auto keepAliveInterval = 3s; // the plug-in closes a connection that is silent for 5 s
constexpr auto keepAlivePoll = 1ms;
constexpr std::size_t searchedLength_bytes = 250;
constexpr std::string_view eventName = "SceneItemEnableStateChanged";
constexpr std::string_view pushName = R"("name":"sourceVisibles")";
constexpr int changeTimeout_ms = 20'000;
constexpr auto repaintTime = 40ms; // between changes, in which OBS paints the last one

// Controllers that send nothing but keep-alives.
class IdleClients
{
public:
    explicit IdleClients(const QJsonObject& settings)
    {
        for (int i = 0; i < settings["controllers"_L1].toInt(); ++i) {
            channels.push_back(controller(port(settings, "plugin"_L1)));
            m_lastSent.push_back(Clock::now());
            if (settings["longFrames"_L1].toBool()) {
                channels.back()->send(Channel::longFrame(emptyMessage));
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
                channels[i]->send(channels[i]->encode(emptyMessage));
                m_lastSent[i] = now;
            }
        }
    }

    std::vector<std::unique_ptr<Channel>> channels;

private:
    std::vector<Clock::time_point> m_lastSent; // of each controller
};

// Makes changes in OBS by one session of obs-websocket, and receives the event of another one and every client's push.
class Changes
{
public:
    Changes(const QJsonObject& settings, const IdleClients& clients)
        : m_requests(obsWebSocketSession(port(settings, "obsWebSocket"_L1)))
        , m_events(obsWebSocketSession(port(settings, "obsWebSocket"_L1), sceneItemEvents))
        , m_changeRequests(settings["changeRequests"_L1].toArray())
        , m_receivers {m_events.get()}
        , m_poll(epoll_create1(EPOLL_CLOEXEC))
    {
        for (const std::unique_ptr<Channel>& channel : clients.channels) {
            m_receivers.push_back(channel.get());
        }
        for (std::size_t i = 0; i < m_receivers.size(); ++i) {
            epoll_event event {EPOLLIN, {.u64 = i}};
            epoll_ctl(m_poll, EPOLL_CTL_ADD, m_receivers[i]->descriptor(), &event);
        }
    }

    ~Changes() { close(m_poll); }
    Q_DISABLE_COPY_MOVE(Changes)

    // Makes a change, or undoes the last one. The times until the last client has its push, and until the event.
    std::pair<double, double> make()
    {
        const std::string request = m_requests->encode(m_changeRequests[m_isMade ? 1 : 0].toString().toStdString());
        m_isMade = !m_isMade;
        std::vector<double> arrivals_us(m_receivers.size(), 0);
        const Clock::time_point begin = Clock::now();
        m_requests->send(request);
        for (std::size_t arrived = 0; arrived < m_receivers.size();) {
            std::array<epoll_event, 64> ready {};
            const int count = epoll_wait(m_poll, ready.data(), ready.size(), changeTimeout_ms);
            if (count <= 0) {
                throw std::runtime_error("a change was not pushed to all clients");
            }
            for (int i = 0; i < count; ++i) {
                const std::size_t index = ready[static_cast<std::size_t>(i)].data.u64;
                m_receivers[index]->read();
                if (hasTaken(*m_receivers[index], index == 0 ? eventName : pushName) && arrivals_us[index] == 0) {
                    arrivals_us[index] = microseconds(Clock::now() - begin);
                    ++arrived;
                }
            }
        }
        if (m_requests->receive().find(R"("result":true)") == std::string_view::npos) {
            throw std::runtime_error("obs-websocket did not make the change");
        }
        return {*std::max_element(arrivals_us.cbegin() + 1, arrivals_us.cend()), arrivals_us.front()};
    }

private:
    static bool hasTaken(Channel& channel, std::string_view text)
    {
        while (const std::optional<std::string_view> body = channel.take()) {
            // The wanted messages are short; scene lists are not searched.
            if (body->size() < searchedLength_bytes && body->find(text) != std::string_view::npos) {
                return true;
            }
        }
        return false;
    }

    std::unique_ptr<Channel> m_requests;
    std::unique_ptr<Channel> m_events;
    QJsonArray m_changeRequests;
    std::vector<Channel*> m_receivers; // the events first
    int m_poll;
    bool m_isMade = false;
};

// The main thread's time per second while the clients only send keep-alives.
double mainThreadIdle_us(const ProcessCpuClock& clock, IdleClients& clients, Clock::duration duration)
{
    const double before_us = clock.mainThread_us();
    const Clock::time_point begin = Clock::now();
    while (Clock::now() - begin < duration) {
        clients.keepAlive();
        std::this_thread::sleep_for(keepAlivePoll);
    }
    return (clock.mainThread_us() - before_us) / (microseconds(Clock::now() - begin) / 1e6);
}

} // namespace

QJsonObject pushes(const QJsonObject& settings)
{
    const ProcessCpuClock clock(settings["pid"_L1].toInt());
    IdleClients clients(settings);
    Changes changes(settings, clients);
    changes.make(); // with what the plug-in does only once
    std::vector<double> pushed_us;
    std::vector<double> event_us;
    const double before_us = clock.mainThread_us();
    const Clock::time_point begin = Clock::now();
    const int count = settings["count"_L1].toInt() | 1; // odd: with the one above every change is undone
    for (int i = 0; i < count; ++i) {
        clients.keepAlive();
        std::this_thread::sleep_for(repaintTime);
        const auto [pushed, event] = changes.make();
        pushed_us.push_back(pushed);
        event_us.push_back(event);
    }
    // The main thread's time for other work, with as many clients and for as long, is subtracted.
    const Clock::duration duration = Clock::now() - begin;
    const double busy_us = clock.mainThread_us() - before_us;
    const double idle_us = mainThreadIdle_us(clock, clients, duration) * microseconds(duration) / 1e6;
    return {{"pushed_us"_L1, quantile(pushed_us, 0.5)},
            {"event_us"_L1, quantile(event_us, 0.5)},
            {"main_us"_L1, (busy_us - idle_us) / count}};
}

QJsonObject idle(const QJsonObject& settings)
{
    const ProcessCpuClock clock(settings["pid"_L1].toInt());
    IdleClients clients(settings);
    return {{"mainPerSecond_us"_L1,
             mainThreadIdle_us(clock, clients, std::chrono::milliseconds(settings["count"_L1].toInt()))}};
}
