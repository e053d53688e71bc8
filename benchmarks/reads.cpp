// SPDX-License-Identifier: GPL-2.0-or-later
//
// Requests of controllers: single ones, many at once, and the scene list.
#include "channel.h"
#include "measurement.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

constexpr int blockLength = 100;
constexpr int halfPipeline = 50;
constexpr std::string_view studioModeRequest = R"({"values":[{"type":"get","name":"studioMode"}]})";
constexpr std::string_view sceneListRequest = R"({"values":[{"type":"get","name":"sceneList"}]})";

void expect(std::string_view answer, std::string_view content)
{
    if (answer.find(content) == std::string_view::npos) {
        throw std::runtime_error("unexpected answer: " + std::string(answer.substr(0, 200)));
    }
}

// A server that answers requests. Every answer has the expected content.
struct Peer
{
    QLatin1StringView name;
    std::unique_ptr<Channel> channel;
    std::string request;
    std::string_view expected;
    std::vector<double> times_us {};
};

std::vector<Peer> studioModePeers(const QJsonObject& settings)
{
    std::vector<Peer> peers;
    const auto add = [&peers](QLatin1StringView name, std::unique_ptr<Channel> channel, std::string_view request,
                              std::string_view expected) {
        std::string bytes = channel->encode(request);
        peers.push_back({name, std::move(channel), std::move(bytes), expected});
    };
    add("plugin"_L1, controller(port(settings, "plugin"_L1)), studioModeRequest, R"("studioMode","type":"set")");
    add("echo"_L1, std::make_unique<Channel>(Channel::Kind::Frames, port(settings, "echo"_L1)), studioModeRequest,
        studioModeRequest);
    add("obsWebSocket"_L1, obsWebSocketSession(port(settings, "obsWebSocket"_L1)),
        settings["studioModeRequest"_L1].toString().toStdString(), "studioModeEnabled");
    return peers;
}

} // namespace

QJsonObject roundTrips(const QJsonObject& settings)
{
    std::vector<Peer> peers = studioModePeers(settings);
    // In blocks by turns, so that other load of the machine affects all peers.
    for (int done = 0; done < settings["count"_L1].toInt(); done += blockLength) {
        for (Peer& peer : peers) {
            for (int i = 0; i < blockLength; ++i) {
                const Clock::time_point begin = Clock::now();
                peer.channel->send(peer.request);
                const std::string_view answer = peer.channel->receive();
                peer.times_us.push_back(microseconds(Clock::now() - begin));
                expect(answer, peer.expected);
            }
        }
    }
    QJsonObject result;
    for (const Peer& peer : peers) {
        result[peer.name]
            = QJsonObject {{"p50_us"_L1, quantile(peer.times_us, 0.5)}, {"p99_us"_L1, quantile(peer.times_us, 0.99)}};
    }
    return result;
}

QJsonObject pipelined(const QJsonObject& settings)
{
    const int count = settings["count"_L1].toInt();
    QJsonObject result;
    for (const Peer& peer : studioModePeers(settings)) {
        if (settings["acknowledgesAtOnce"_L1].toBool()) {
            peer.channel->acknowledgeAtOnce();
        }
        std::string requests;
        for (int i = 0; i < halfPipeline; ++i) {
            requests += peer.request;
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
        result[peer.name] = count / microseconds(Clock::now() - begin) * 1e6;
    }
    return result;
}

QJsonObject sceneListReads(const QJsonObject& settings)
{
    const ProcessCpuClock clock(settings["pid"_L1].toInt());
    const int count = settings["count"_L1].toInt();
    QJsonObject result;
    // The main thread's time and the time on the wire of one call.
    const auto measure = [&](QLatin1StringView name, int calls, const auto& call) {
        const double before_us = clock.mainThread_us();
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < calls; ++i) {
            call();
        }
        const double wire_us = microseconds(Clock::now() - begin) / calls;
        result[name]
            = QJsonObject {{"main_us"_L1, (clock.mainThread_us() - before_us) / calls}, {"wire_us"_L1, wire_us}};
    };

    const std::unique_ptr<Channel> plugin = controller(port(settings, "plugin"_L1));
    const std::string listRequest = Channel::longFrame(sceneListRequest);
    plugin->send(listRequest);
    const std::string list(plugin->receive()); // with what the plug-in does only once
    measure("plugin"_L1, count, [&] {
        plugin->send(listRequest);
        if (plugin->receive() != list) {
            throw std::runtime_error("the scene list changed");
        }
    });

    Channel baseline(Channel::Kind::Frames, port(settings, "baseline"_L1));
    std::vector<double> times_us;
    for (int i = 0; i < count; ++i) {
        baseline.send("\n");
        const std::string_view answer = baseline.receive();
        const std::size_t blank = answer.find(' ');
        if (answer.substr(blank + 1) != list) {
            throw std::runtime_error("the baseline's scene list is not the plug-in's");
        }
        times_us.push_back(std::stod(std::string(answer.substr(0, blank))) / 1000);
    }
    result["baseline_us"_L1] = quantile(times_us, 0.5);

    const std::unique_ptr<Channel> obsWebSocket = obsWebSocketSession(port(settings, "obsWebSocket"_L1));
    std::vector<std::string> requests;
    for (const QJsonValue request : settings["sceneListRequests"_L1].toArray()) {
        requests.push_back(obsWebSocket->encode(request.toString().toStdString()));
    }
    measure("obsWebSocket"_L1, 1, [&] {
        for (const std::string& bytes : requests) {
            obsWebSocket->send(bytes);
            expect(obsWebSocket->receive(), R"("result":true)");
        }
    });
    return result;
}
