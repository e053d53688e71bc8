// SPDX-License-Identifier: GPL-2.0-or-later
//
// What controllers ask for: single requests, many at once, and the whole scene list.
#include "channel.h"
#include "hostclock.h"
#include "measurement.h"
#include "remote.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <array>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

constexpr int blockLength = 100;
constexpr int pipelineDepth = 100;
constexpr std::string_view studioModeRequest = R"({"values":[{"type":"get","name":"studioMode"}]})";
constexpr std::string_view sceneListRequest = R"({"values":[{"type":"get","name":"sceneList"}]})";

// Somebody who answers requests. The answer must hold the text, or it was no answer to them.
struct Peer
{
    QLatin1StringView name;
    Channel channel;
    std::string request;
    std::string_view expected;
    std::vector<double> times_us;
};

std::vector<Peer> studioModePeers(const Setting& setting)
{
    std::vector<Peer> peers;
    const auto add
        = [&peers](QLatin1StringView name, Channel channel, std::string_view request, std::string_view expected) {
              std::string bytes = channel.encode(request);
              peers.push_back({name, std::move(channel), std::move(bytes), expected, {}});
          };
    add("plugin"_L1, controller(setting.plugin), studioModeRequest, R"("studioMode","type":"set")");
    add("hostEcho"_L1, Channel(Channel::Kind::Frames, setting.hostEcho), studioModeRequest, studioModeRequest);
    add("bareEcho"_L1, Channel(Channel::Kind::Frames, setting.bareEcho), studioModeRequest, studioModeRequest);
    add("remote"_L1, remoteSession(setting.remote, 0), remoteRequest("GetStudioModeEnabled"), "studioModeEnabled");
    return peers;
}

void expect(const Peer& peer, std::string_view answer)
{
    if (answer.find(peer.expected) == std::string_view::npos) {
        throw std::runtime_error("unexpected answer: " + std::string(answer.substr(0, 200)));
    }
}

} // namespace

QJsonObject roundTrips(const Setting& setting)
{
    std::vector<Peer> peers = studioModePeers(setting);
    // In blocks by turns, so that whatever the machine does meanwhile hits all of them.
    for (int done = 0; done < setting.count; done += blockLength) {
        for (Peer& peer : peers) {
            for (int i = 0; i < blockLength; ++i) {
                const Clock::time_point begin = Clock::now();
                peer.channel.send(peer.request);
                const std::string_view answer = peer.channel.receive();
                peer.times_us.push_back(microseconds(Clock::now() - begin));
                expect(peer, answer);
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

QJsonObject pipelined(const Setting& setting)
{
    const HostClock clock(setting.pid);
    QJsonObject result;
    for (Peer& peer : studioModePeers(setting)) {
        if (setting.isEager) {
            peer.channel.acknowledgeAtOnce();
        }
        std::string half;
        for (int i = 0; i < pipelineDepth / 2; ++i) {
            half += peer.request;
        }
        // Between half a pipeline and a whole one is always under way.
        const double before_us = clock.allThreads_us();
        const Clock::time_point begin = Clock::now();
        peer.channel.send(half);
        int sent = pipelineDepth / 2;
        for (int received = 0; received < setting.count; ++received) {
            if (received % (pipelineDepth / 2) == 0 && sent < setting.count) {
                peer.channel.send(half);
                sent += pipelineDepth / 2;
            }
            expect(peer, peer.channel.receive());
        }
        result[peer.name] = QJsonObject {{"perSecond"_L1, setting.count / (microseconds(Clock::now() - begin) / 1e6)},
                                         {"host_us"_L1, (clock.allThreads_us() - before_us) / setting.count}};
    }
    return result;
}

QJsonObject sceneListReads(const Setting& setting)
{
    const HostClock clock(setting.pid);
    Channel plugin = controller(setting.plugin);
    const std::string request = Channel::longFrame(sceneListRequest);
    plugin.send(request);
    std::string list(plugin.receive()); // also what has to be made once
    QJsonObject result {{"bytes"_L1, static_cast<qint64>(list.size())}};

    // Called so often, with what it is to do; the main thread's time and the time on the wire of one.
    const auto measure = [&](QLatin1StringView name, int count, const auto& work) {
        const double before_us = clock.mainThread_us();
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < count; ++i) {
            work();
        }
        const double wire_us = microseconds(Clock::now() - begin) / count;
        result[name]
            = QJsonObject {{"main_us"_L1, (clock.mainThread_us() - before_us) / count}, {"wire_us"_L1, wire_us}};
    };
    measure("plugin"_L1, setting.count, [&] {
        plugin.send(request);
        if (plugin.receive() != list) {
            throw std::runtime_error("the scene list changed");
        }
    });
    Channel floor(Channel::Kind::Frames, setting.floor);
    std::vector<double> times_us;
    measure("floor"_L1, setting.count, [&] {
        floor.send("\n");
        const std::string_view answer = floor.receive();
        const std::size_t blank = answer.find(' ');
        if (answer.substr(blank + 1) != list) {
            throw std::runtime_error("the floor tells other facts than the plug-in");
        }
        times_us.push_back(std::stod(std::string(answer.substr(0, blank))) / 1000);
    });
    result["floor_us"_L1] = quantile(times_us, 0.5);
    if (!setting.isAlone) {
        Remote remote(setting.remote);
        const double before_us = clock.mainThread_us();
        result["remoteRequests"_L1] = remote.readSceneFacts(list);
        result["remote"_L1]
            = QJsonObject {{"main_us"_L1, clock.mainThread_us() - before_us}, {"wire_us"_L1, remote.wire_us()}};
    }
    return result;
}
