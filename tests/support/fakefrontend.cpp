// SPDX-License-Identifier: GPL-2.0-or-later
#include "fakefrontend.h"

#include "hostfixture.h"

#include <QCoreApplication>
#include <QHash>
#include <QSignalBlocker>

#include <functional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

FakeFrontEnd* host = nullptr;

void note(const char* command, const QString& argument)
{
    host->commands.append(QString::fromUtf8(command) + ' '_L1 + argument);
}

void note(const char* command, obs_source_t* source)
{
    note(command, QString::fromUtf8(obs_source_get_name(source)));
}

void append(const std::vector<OBSSource>& sources, obs_frontend_source_list* list)
{
    for (obs_source_t* source : sources) {
        obs_source_t* reference = obs_source_get_ref(source);
        da_push_back(list->sources, &reference);
    }
}

void switchOutput(const char* command, bool& isActive, bool on, int startingEvent)
{
    note(command, on ? u"on"_s : u"off"_s);
    const int event = on ? startingEvent : startingEvent + 2;
    host->raise(event);
    isActive = on;
    host->raise(event + 1);
}

} // namespace

FakeFrontEnd::FakeFrontEnd()
{
    Host::settle(); // the scenes of the one before
    host = this;
    durationBox->setObjectName("transitionDuration"_L1);
    durationBox->setRange(50, 20000);
    durationBox->setValue(300);
    sceneList->setObjectName("scenes"_L1);
    config_open_string(&profile, "");
    obs_scene_t* scene = addScene("Main");
    for (const char* name : {"C", "B", "A"}) {
        items.insert(items.begin(), Host::addItem(scene, name));
    }
    addScene("Größe");
    sceneList->addItem(u"Third"_s);
    addTransition("Cut");
    addTransition("Fade");
}

FakeFrontEnd::~FakeFrontEnd()
{
    // Newer hosts hold on to every scene that has not been removed.
    for (obs_source_t* scene : scenes) {
        obs_source_remove(scene);
    }
    config_close(profile);
    host = nullptr;
}

obs_scene_t* FakeFrontEnd::addScene(const char* name)
{
    const OBSSceneAutoRelease scene = obs_scene_create(name);
    scenes.emplace_back(obs_scene_get_source(scene)); // keeps it
    sceneList->addItem(QString::fromUtf8(name));
    currentScene = currentScene ? currentScene : scenes.back();
    return scene;
}

void FakeFrontEnd::addTransition(const char* name)
{
    transitions.emplace_back(Host::transition(name));
    currentTransition = currentTransition ? currentTransition : transitions.back();
}

void FakeFrontEnd::clearCollection()
{
    for (obs_source_t* scene : scenes) {
        obs_source_remove(scene);
    }
    currentScene = previewScene = currentTransition = nullptr;
    scenes.clear();
    items.clear();
    transitions.clear();
    sceneList->clear();
}

void FakeFrontEnd::raise(int event)
{
    for (std::size_t i = callbacks.size(); i > 0; --i) {
        const auto [callback, data] = callbacks.at(i - 1);
        callback(static_cast<obs_frontend_event>(event), data);
    }
    if (event == OBS_FRONTEND_EVENT_SCENE_COLLECTION_CLEANUP) {
        // As the host does before it counts what is left.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::sendPostedEvents();
    }
}

void FakeFrontEnd::moveRow(const QStringList& fromTo)
{
    std::unique_ptr<QListWidgetItem> row(fromTo.isEmpty() ? new QListWidgetItem(u"New"_s)
                                                          : sceneList->takeItem(fromTo[0].toInt()));
    if (fromTo.size() != 1) {
        sceneList->insertItem(fromTo.value(1).toInt(), row.release());
    }
}

void FakeFrontEnd::perform(const QString& script)
{
    const auto scene = [this] { return obs_scene_from_source(scenes.at(0)); };
    const auto item = [this](const QString& index) { return items.at(index.toUInt()); };
    const QHash<QString, std::function<void(const QString&)>> verbs {
        {u"event"_s, [this](auto number) { raise(number.toInt()); }},
        {u"signal"_s, [this](auto name) { Host::raise(scenes.at(0), qPrintable(name)); }},
        {u"hide"_s, [=](auto index) { obs_sceneitem_set_visible(item(index), false); }},
        {u"lock"_s, [=](auto index) { obs_sceneitem_set_locked(item(index), true); }},
        {u"remove"_s, [=](auto index) { obs_sceneitem_remove(item(index)); }},
        {u"lift"_s, [=](auto index) { obs_sceneitem_set_order(item(index), OBS_ORDER_MOVE_TOP); }},
        {u"add"_s, [=](auto name) { Host::addItem(scene(), qPrintable(name)); }},
        {u"flash"_s, [=](auto name) { obs_sceneitem_remove(Host::addItem(scene(), qPrintable(name))); }},
        {u"rename"_s, [this](auto name) { obs_source_set_name(scenes.at(0), qPrintable(name)); }},
        {u"disable"_s, [this](auto) { obs_source_set_enabled(scenes.at(0), false); }},
        {u"end"_s, [this](auto) { obs_source_remove(scenes.at(0)); }},
        {u"preset"_s, [this](auto index) { isStudioMode = bool(previewScene = scenes.at(index.toUInt())); }},
        {u"studio"_s, [](auto on) { obs_frontend_set_preview_program_mode(on.toInt()); }},
        {u"scene"_s, [this](auto index) { obs_frontend_set_current_scene(scenes.at(index.toUInt())); }},
        {u"preview"_s, [this](auto index) { obs_frontend_set_current_preview_scene(scenes.at(index.toUInt())); }},
        {u"duration"_s, [](auto ms) { obs_frontend_set_transition_duration(ms.toInt()); }},
        {u"spin"_s, [this](auto ms) { durationBox->setValue(ms.toInt()); }},
        {u"silence"_s, [this](auto) { isSpinBoxSilent = true; }},
        {u"drag"_s, [this](auto row) { sceneList->model()->moveRow({}, row.toInt(), {}, sceneList->count()); }},
        // A row of the window's list goes, comes, or both: "row 2 0" moves it.
        {u"row"_s, [this](auto rows) { moveRow(rows.isEmpty() ? QStringList() : rows.split(u' ')); }},
    };
    const QStringList steps = script.split(", "_L1, Qt::SkipEmptyParts);
    for (const QString& step : steps) {
        verbs.value(step.section(' '_L1, 0, 0))(step.section(' '_L1, 1));
    }
}

// The host's functions, exported from the test's executable and so found before those of the host's library. Sources
// that they return are the caller's to release.

// clang-format off
void* obs_frontend_get_main_window() { return host->window.get(); }
void obs_frontend_get_scenes(obs_frontend_source_list* list) { append(host->scenes, list); }
void obs_frontend_get_transitions(obs_frontend_source_list* list) { append(host->transitions, list); }
obs_source_t* obs_frontend_get_current_scene() { return obs_source_get_ref(host->currentScene); }
obs_source_t* obs_frontend_get_current_transition() { return obs_source_get_ref(host->currentTransition); }
int obs_frontend_get_transition_duration() { return host->durationBox->value(); }
bool obs_frontend_preview_program_mode_active() { return host->isStudioMode; }
bool obs_frontend_streaming_active() { return host->isStreaming; }
bool obs_frontend_recording_active() { return host->isRecording; }
obs_output_t* obs_frontend_get_streaming_output() { return nullptr; }
obs_output_t* obs_frontend_get_recording_output() { return nullptr; }
config_t* obs_frontend_get_profile_config() { return host->profile; }

// clang-format on

void obs_frontend_add_event_callback(obs_frontend_event_cb callback, void* data)
{
    host->callbacks.emplace_back(callback, data);
}

void obs_frontend_remove_event_callback(obs_frontend_event_cb callback, void* data)
{
    std::erase(host->callbacks, std::pair(callback, data));
}

obs_source_t* obs_frontend_get_current_preview_scene()
{
    return host->isStudioMode ? obs_source_get_ref(host->previewScene) : nullptr;
}

void obs_frontend_set_current_scene(obs_source_t* scene)
{
    note("scene", scene);
    if (obs_source_is_scene(scene) && scene != host->currentScene) {
        host->currentScene = scene;
        if (!host->isStudioMode) {
            host->raise(OBS_FRONTEND_EVENT_PREVIEW_SCENE_CHANGED);
        }
    }
}

void obs_frontend_set_current_preview_scene(obs_source_t* scene)
{
    note("preview", scene);
    if (host->isStudioMode && obs_source_is_scene(scene) && scene != host->previewScene) {
        host->previewScene = scene;
        host->raise(OBS_FRONTEND_EVENT_PREVIEW_SCENE_CHANGED);
    }
}

void obs_frontend_set_current_transition(obs_source_t* transition)
{
    note("transition", transition);
    host->currentTransition = transition;
    host->raise(OBS_FRONTEND_EVENT_TRANSITION_CHANGED);
}

void obs_frontend_set_transition_duration(int duration_ms)
{
    note("duration", QString::number(duration_ms));
    const int before_ms = host->durationBox->value();
    {
        const QSignalBlocker blocker(host->isSpinBoxSilent ? host->durationBox : nullptr);
        host->durationBox->setValue(duration_ms);
    }
    if (host->durationBox->value() != before_ms) {
        host->raise(OBS_FRONTEND_EVENT_TRANSITION_DURATION_CHANGED);
    }
}

void obs_frontend_set_preview_program_mode(bool enable)
{
    note("studio", enable ? u"on"_s : u"off"_s);
    if (std::exchange(host->isStudioMode, enable) == enable) {
        return;
    }
    if (enable) {
        host->previewScene = host->currentScene;
        host->raise(OBS_FRONTEND_EVENT_STUDIO_MODE_ENABLED);
        return;
    }
    const OBSSource program = std::exchange(host->currentScene, host->previewScene);
    host->raise(OBS_FRONTEND_EVENT_SCENE_CHANGED);
    host->raise(OBS_FRONTEND_EVENT_PREVIEW_SCENE_CHANGED);
    host->currentScene = program;
    host->raise(OBS_FRONTEND_EVENT_SCENE_CHANGED);
    host->raise(OBS_FRONTEND_EVENT_STUDIO_MODE_DISABLED);
}

void obs_frontend_preview_program_trigger_transition()
{
    note("trigger", host->currentTransition);
    std::swap(host->currentScene, host->previewScene);
}

void obs_frontend_streaming_start()
{
    switchOutput("stream", host->isStreaming, true, OBS_FRONTEND_EVENT_STREAMING_STARTING);
}

void obs_frontend_streaming_stop()
{
    switchOutput("stream", host->isStreaming, false, OBS_FRONTEND_EVENT_STREAMING_STARTING);
}

void obs_frontend_recording_start()
{
    switchOutput("record", host->isRecording, true, OBS_FRONTEND_EVENT_RECORDING_STARTING);
}

void obs_frontend_recording_stop()
{
    switchOutput("record", host->isRecording, false, OBS_FRONTEND_EVENT_RECORDING_STARTING);
}
