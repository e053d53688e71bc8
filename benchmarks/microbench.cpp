// SPDX-License-Identifier: GPL-2.0-or-later
//
// The time of requests without OBS and without sockets: libobs is real, the front end is the tests' fake. With
// --benchmark_filter=NAME one request can run under an instruction counter.
#include "network/networkserver.h"
#include "protocol/protocoladapter.h"
#include "tests/support/fakefrontend.h"
#include "tests/support/obsruntime.h"

#include <QApplication>
#include <QJsonArray>

#include <cstdio>
#include <optional>
#include <string>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

// The plug-in's protocol on a scene collection of the benchmark's size, besides the fake's own two scenes.
struct Stage
{
    explicit Stage(const benchmark::State& state)
    {
        for (int64_t i = 0; i < state.range(0); ++i) {
            obs_scene_t* scene = frontEnd.addScene(("Scene " + std::to_string(i)).c_str());
            for (int64_t k = 0; k < state.range(1); ++k) {
                ObsRuntime::addItem(scene, ("Item " + std::to_string(i) + ' ' + std::to_string(k)).c_str());
            }
        }
        frontEnd.currentScene = frontEnd.scenes.back();
        adapter.emplace(&server);
    }

    ~Stage() { frontEnd.raise(OBS_FRONTEND_EVENT_EXIT); }

    Q_DISABLE_COPY_MOVE(Stage)

    FakeFrontEnd frontEnd;
    NetworkServer server {nullptr};
    std::optional<ProtocolAdapter> adapter;
};

void wholeRequest(benchmark::State& state, const char* name)
{
    Stage stage(state);
    const QJsonObject entry {{"type"_L1, "get"_L1}, {"name"_L1, QLatin1StringView(name)}};
    const QJsonObject json {{"values"_L1, QJsonArray {entry}}};
    while (state.KeepRunning()) {
        stage.adapter->receivedJson(json, nullptr); // no connection: everything but the socket
    }
}

BENCHMARK_CAPTURE(wholeRequest, studioMode, "studioMode")->Args({0, 0});
BENCHMARK_CAPTURE(wholeRequest, sceneList, "sceneList")->Args({1, 20})->Args({10, 20})->Args({100, 20});
BENCHMARK_CAPTURE(wholeRequest, sourceVisibles, "sourceVisibles")->Args({1, 32});

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv) || !ObsRuntime::start()) {
        std::fputs("cannot start libobs, or unknown arguments\n", stderr);
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return ObsRuntime::stop() == 0 ? 0 : 1;
}
