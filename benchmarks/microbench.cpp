// SPDX-License-Identifier: GPL-2.0-or-later
//
// Where the time of the product's own parts goes, without a host: libobs is real, its front end is the tests' own.
// With --benchmark_filter=NAME one part can run under an instruction counter.
#include "network/networkreader.h"
#include "network/networkserver.h"
#include "network/networkwriter.h"
#include "protocol/protocoladapter.h"
#include "tests/support/fakefrontend.h"
#include "tests/support/obsruntime.h"

#include <QApplication>
#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

// The plug-in's protocol on a collection of the benchmark's size, plus the front end's own two scenes.
class Stage
{
public:
    Stage(int64_t scenes, int64_t items)
        : m_adapter(grow(m_frontEnd, scenes, items))
    {}

    ~Stage() { m_frontEnd.raise(OBS_FRONTEND_EVENT_EXIT); }

    Q_DISABLE_COPY_MOVE(Stage)

    ProtocolAdapter& adapter() { return m_adapter; }

private:
    NetworkServer* grow(FakeFrontEnd& frontEnd, int64_t scenes, int64_t items)
    {
        for (int64_t i = 0; i < scenes; ++i) {
            obs_scene_t* scene = frontEnd.addScene(("Scene " + std::to_string(i)).c_str());
            for (int64_t k = 0; k < items; ++k) {
                ObsRuntime::addItem(scene, ("Item " + std::to_string(i) + ' ' + std::to_string(k)).c_str());
            }
        }
        if (scenes > 0) {
            frontEnd.currentScene = frontEnd.scenes.back();
        }
        return &m_server;
    }

    FakeFrontEnd m_frontEnd;
    NetworkServer m_server {nullptr};
    ProtocolAdapter m_adapter;
};

QByteArray request()
{
    return R"({"values":[{"type":"get","name":"studioMode"}]})";
}

void readFrame(benchmark::State& state)
{
    QBuffer device;
    device.setData("0047" + request());
    device.open(QIODevice::ReadOnly);
    NetworkReader reader(&device);
    for (auto _ : state) {
        device.seek(0);
        if (!reader.readFrames()) {
            state.SkipWithError("not a frame");
            break;
        }
    }
}

void writeFrame(benchmark::State& state)
{
    const QJsonObject entry {{"name"_L1, "studioMode"_L1}, {"type"_L1, "set"_L1}, {"value"_L1, false}};
    QBuffer device;
    device.open(QIODevice::WriteOnly);
    NetworkWriter writer(&device);
    for (auto _ : state) {
        device.seek(0);
        writer.write(QJsonObject {{"values"_L1, QJsonArray {entry}}});
    }
}

void valueEntry(benchmark::State& state, const char* name)
{
    Stage stage(state.range(0), state.range(1));
    const QString property = QString::fromLatin1(name);
    for (auto _ : state) {
        benchmark::DoNotOptimize(stage.adapter().valueEntry(property));
    }
}

void wholeRequest(benchmark::State& state, const char* name)
{
    Stage stage(state.range(0), state.range(1));
    const QJsonObject entry {{"type"_L1, "get"_L1}, {"name"_L1, QLatin1StringView(name)}};
    const QJsonObject json {{"values"_L1, QJsonArray {entry}}};
    for (auto _ : state) {
        stage.adapter().receivedJson(json, nullptr); // no connection: everything but the socket
    }
}

BENCHMARK(readFrame);
BENCHMARK(writeFrame);
BENCHMARK_CAPTURE(wholeRequest, studioMode, "studioMode")->Args({0, 0});
BENCHMARK_CAPTURE(wholeRequest, sceneList, "sceneList")->Args({1, 20})->Args({10, 20})->Args({100, 20});
BENCHMARK_CAPTURE(valueEntry, studioMode, "studioMode")->Args({0, 0});
BENCHMARK_CAPTURE(valueEntry, sourceVisibles, "sourceVisibles")->Args({1, 3})->Args({1, 32});
BENCHMARK_CAPTURE(valueEntry, sceneList, "sceneList")->Args({1, 20})->Args({10, 20})->Args({100, 20});

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv) || !ObsRuntime::start()) {
        std::fputs("libobs does not start\n", stderr);
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return ObsRuntime::stop() == 0 ? 0 : 1;
}
