// SPDX-License-Identifier: GPL-2.0-or-later
//
// Measures one part and prints the times as a JSON object. bench.py starts it and writes the settings to its input: the
// "part", the port of each peer ("plugin", "echo", "baseline", "obsWebSocket"), the "pid" of OBS, the "count" of
// requests, reads or changes, and what each part names. Requests for obs-websocket are complete messages.
#include "channel.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <stdexcept>
#include <thread>
#include <vector>

#include <sys/epoll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int blockLength = 100;
constexpr int halfPipeline = 50;
constexpr std::string_view studioModeRequest = R"({"values":[{"type":"get","name":"studioMode"}]})";
constexpr std::string_view obsWebSocketStudioModeRequest
    = R"({"op":6,"d":{"requestId":"1","requestType":"GetStudioModeEnabled"}})";
constexpr std::string_view sceneListRequest = R"({"values":[{"type":"get","name":"sceneList"}]})";
constexpr std::string_view emptyMessage = R"({"values":[]})";
constexpr int sceneItemEvents = 1 << 7;
constexpr std::string_view eventName = "SceneItemEnableStateChanged";
constexpr std::string_view pushName = R"("name":"sourceVisibles")";
constexpr std::size_t searchedLength_bytes = 250; // the wanted messages are short; scene lists are not searched
constexpr int changeTimeout_ms = 20'000;
constexpr auto repaintTime = 40ms;     // between changes, in which OBS paints the last one
constexpr auto keepAliveInterval = 3s; // the plug-in closes a connection that is silent for 5 s

double microsecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

// The processor time of OBS's main thread. Exact while it sleeps, as it mostly does after an answer.
double mainThread_us(const QJsonObject& settings)
{
    const std::string pid = std::to_string(settings["pid"_L1].toInt());
    std::ifstream file("/proc/" + pid + "/task/" + pid + "/schedstat");
    double time_ns = 0;
    if (!(file >> time_ns)) {
        throw std::runtime_error("cannot read the time of the main thread of process " + pid);
    }
    return time_ns / 1000;
}

std::unique_ptr<Channel> connectTo(const QJsonObject& settings, QLatin1StringView peer, Channel::Kind kind,
                                   int events = 0)
{
    return std::make_unique<Channel>(kind, static_cast<uint16_t>(settings[peer].toInt()), events);
}

void require(bool condition, std::string_view problem)
{
    if (!condition) {
        throw std::runtime_error(std::string(problem));
    }
}

void expect(std::string_view answer, std::string_view content)
{
    require(answer.find(content) != std::string_view::npos, answer.substr(0, 200));
}

// A server that answers requests. Every answer has the expected content.
struct Peer
{
    QLatin1StringView name;
    std::unique_ptr<Channel> channel;
    std::string_view request;
    std::string_view expected;
    QJsonArray times_us {};
};

std::vector<Peer> studioModePeers(const QJsonObject& settings)
{
    std::vector<Peer> peers;
    const auto add
        = [&](QLatin1StringView name, Channel::Kind kind, std::string_view request, std::string_view expected) {
              peers.push_back({name, connectTo(settings, name, kind), request, expected});
          };
    add("plugin"_L1, Channel::Kind::Controller, studioModeRequest, R"("studioMode","type":"set")");
    add("echo"_L1, Channel::Kind::Frames, studioModeRequest, studioModeRequest);
    add("obsWebSocket"_L1, Channel::Kind::ObsWebSocket, obsWebSocketStudioModeRequest, "studioModeEnabled");
    return peers;
}

QJsonObject roundTrips(const QJsonObject& settings)
{
    std::vector<Peer> peers = studioModePeers(settings);
    // In blocks by turns, so that other load of the machine affects all peers.
    for (int done = 0; done < settings["count"_L1].toInt(); done += blockLength) {
        for (Peer& peer : peers) {
            const std::string request = peer.channel->encode(peer.request);
            for (int i = 0; i < blockLength; ++i) {
                const Clock::time_point begin = Clock::now();
                peer.channel->send(request);
                const std::string_view answer = peer.channel->receive();
                peer.times_us.append(microsecondsSince(begin));
                expect(answer, peer.expected);
            }
        }
    }
    QJsonObject result;
    for (const Peer& peer : peers) {
        result[peer.name] = QJsonObject {{"times_us"_L1, peer.times_us}};
    }
    return result;
}

// "acknowledgesAtOnce": see Channel.
QJsonObject pipelined(const QJsonObject& settings)
{
    const int count = settings["count"_L1].toInt();
    QJsonObject result;
    for (const Peer& peer : studioModePeers(settings)) {
        peer.channel->acknowledgesAtOnce = settings["acknowledgesAtOnce"_L1].toBool();
        std::string requests;
        for (int i = 0; i < halfPipeline; ++i) {
            requests += peer.channel->encode(peer.request);
        }
        // Between half a pipeline and a whole one is always pending.
        const Clock::time_point begin = Clock::now();
        peer.channel->send(requests);
        int sent = halfPipeline;
        for (int received = 0; received < count; ++received) {
            if (received % halfPipeline == 0 && sent < count) {
                peer.channel->send(requests);
                sent += halfPipeline;
            }
            expect(peer.channel->receive(), peer.expected);
        }
        result[peer.name] = count / microsecondsSince(begin) * 1e6;
    }
    return result;
}

// "sceneListRequests": for obs-websocket, a list that is timed as a whole.
QJsonObject sceneListReads(const QJsonObject& settings)
{
    const int count = settings["count"_L1].toInt();
    // The main thread's time and the time on the wire of one call.
    const auto measure = [&](int calls, const auto& call) {
        const double before_us = mainThread_us(settings);
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < calls; ++i) {
            call();
        }
        const double wire_us = microsecondsSince(begin) / calls;
        return QJsonObject {{"main_us"_L1, (mainThread_us(settings) - before_us) / calls}, {"wire_us"_L1, wire_us}};
    };

    const std::unique_ptr<Channel> plugin = connectTo(settings, "plugin"_L1, Channel::Kind::Controller);
    const std::string listRequest = Channel::longFrame(sceneListRequest);
    plugin->send(listRequest);
    const std::string list(plugin->receive()); // with what the plug-in does only once
    const QJsonObject ofPlugin = measure(count, [&] {
        plugin->send(listRequest);
        require(plugin->receive() == list, "the scene list changed");
    });

    const std::unique_ptr<Channel> baseline = connectTo(settings, "baseline"_L1, Channel::Kind::Frames);
    QJsonArray baseline_us;
    for (int i = 0; i < count; ++i) {
        baseline->send("\n");
        const std::string_view answer = baseline->receive();
        const std::size_t blank = answer.find(' ');
        require(answer.substr(blank + 1) == list, "the baseline's scene list is not the plug-in's");
        baseline_us.append(std::stod(std::string(answer.substr(0, blank))) / 1000);
    }

    const std::unique_ptr<Channel> obsWebSocket = connectTo(settings, "obsWebSocket"_L1, Channel::Kind::ObsWebSocket);
    const QJsonObject ofObsWebSocket = measure(1, [&] {
        for (const QJsonValue request : settings["sceneListRequests"_L1].toArray()) {
            obsWebSocket->send(obsWebSocket->encode(request.toString().toStdString()));
            expect(obsWebSocket->receive(), R"("result":true)");
        }
    });
    return {{"plugin"_L1, ofPlugin}, {"baseline_us"_L1, baseline_us}, {"obsWebSocket"_L1, ofObsWebSocket}};
}

// Makes changes in OBS by one session of obs-websocket, and receives the event of another one and the push of every
// controller.
class Changes
{
public:
    explicit Changes(const QJsonObject& settings)
        : m_requests(connectTo(settings, "obsWebSocket"_L1, Channel::Kind::ObsWebSocket))
        , m_changeRequests(settings["changeRequests"_L1].toArray())
        , m_poll(epoll_create1(EPOLL_CLOEXEC))
    {
        m_receivers.push_back(connectTo(settings, "obsWebSocket"_L1, Channel::Kind::ObsWebSocket, sceneItemEvents));
        for (int i = 0; i < settings["controllers"_L1].toInt(); ++i) {
            m_receivers.push_back(connectTo(settings, "plugin"_L1, Channel::Kind::Controller));
            if (settings["longFrames"_L1].toBool()) {
                m_receivers.back()->send(Channel::longFrame(emptyMessage));
            }
            keepAlive();
        }
        for (std::size_t i = 0; i < m_receivers.size(); ++i) {
            epoll_event event {EPOLLIN, {.u64 = i}};
            epoll_ctl(m_poll, EPOLL_CTL_ADD, m_receivers[i]->descriptor(), &event);
        }
    }

    ~Changes() { close(m_poll); }
    Q_DISABLE_COPY_MOVE(Changes)

    // To be called often.
    void keepAlive()
    {
        if (Clock::now() - m_lastKeepAlive > keepAliveInterval) {
            for (std::size_t i = 1; i < m_receivers.size(); ++i) {
                m_receivers[i]->send(m_receivers[i]->encode(emptyMessage));
            }
            m_lastKeepAlive = Clock::now();
        }
    }

    // Makes a change, or undoes the last one. The times until the last controller has its push, and until the event.
    std::pair<double, double> make()
    {
        const std::string request = m_requests->encode(m_changeRequests[m_isMade ? 1 : 0].toString().toStdString());
        m_isMade = !m_isMade;
        double pushed_us = 0;
        double event_us = 0;
        const Clock::time_point begin = Clock::now();
        m_requests->send(request);
        for (std::size_t arrived = 0; arrived < m_receivers.size();) {
            std::array<epoll_event, 64> ready {};
            const int count = epoll_wait(m_poll, ready.data(), ready.size(), changeTimeout_ms);
            require(count > 0, "a change was not pushed to all controllers");
            for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
                const std::size_t index = ready[i].data.u64;
                m_receivers[index]->read();
                if (hasTaken(*m_receivers[index], index == 0 ? eventName : pushName)) {
                    (index == 0 ? event_us : pushed_us) = microsecondsSince(begin);
                    ++arrived;
                }
            }
        }
        expect(m_requests->receive(), R"("result":true)");
        return {pushed_us, event_us};
    }

private:
    static bool hasTaken(Channel& channel, std::string_view text)
    {
        bool isFound = false;
        while (const std::optional<std::string_view> body = channel.take()) {
            isFound |= body->size() < searchedLength_bytes && body->find(text) != std::string_view::npos;
        }
        return isFound;
    }

    std::unique_ptr<Channel> m_requests;
    std::vector<std::unique_ptr<Channel>> m_receivers; // of the event, then the controllers
    QJsonArray m_changeRequests;
    int m_poll;
    bool m_isMade = false;
    Clock::time_point m_lastKeepAlive = Clock::now();
};

// "changeRequests": two for obs-websocket, of which the second one undoes the first. "controllers": how many receive
// the changes. "longFrames": whether they understand long frames.
QJsonObject pushes(const QJsonObject& settings)
{
    Changes changes(settings);
    changes.make(); // with what the plug-in does only once
    QJsonArray pushed_us;
    QJsonArray event_us;
    const double before_us = mainThread_us(settings);
    const Clock::time_point begin = Clock::now();
    const int count = settings["count"_L1].toInt() | 1; // odd: with the one above every change is undone
    for (int i = 0; i < count; ++i) {
        changes.keepAlive();
        std::this_thread::sleep_for(repaintTime);
        const auto [pushed, event] = changes.make();
        pushed_us.append(pushed);
        event_us.append(event);
    }
    const double after_us = mainThread_us(settings);
    // The main thread's time for other work, with as many controllers and for as long, is subtracted.
    const Clock::time_point end = Clock::now() + (Clock::now() - begin);
    while (Clock::now() < end) {
        changes.keepAlive();
        std::this_thread::sleep_for(1ms);
    }
    const double idle_us = mainThread_us(settings) - after_us;
    return {{"pushed_us"_L1, pushed_us},
            {"event_us"_L1, event_us},
            {"main_us"_L1, (after_us - before_us - idle_us) / count}};
}

} // namespace

int main()
{
    const std::map<QString, QJsonObject (*)(const QJsonObject&)> parts {{u"roundtrip"_s, roundTrips},
                                                                        {u"pipelined"_s, pipelined},
                                                                        {u"scenelist"_s, sceneListReads},
                                                                        {u"push"_s, pushes}};
    try {
        QFile input;
        require(input.open(stdin, QIODevice::ReadOnly), "cannot read the settings");
        const QJsonObject settings = QJsonDocument::fromJson(input.readAll()).object();
        const QJsonObject result = parts.at(settings["part"_L1].toString())(settings);
        std::puts(QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
