// SPDX-License-Identifier: GPL-2.0-or-later
#include "fakefrontend.h"

#include "obsruntime.h"

#include <QAction>
#include <QCoreApplication>
#include <QHash>
#include <QThread>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

FakeFrontEnd* host = nullptr;

// OBS would make another thread wait for the main thread, or crash.
FakeFrontEnd* onMainThread()
{
    if (QThread::currentThread() != QCoreApplication::instance()->thread()) {
        qFatal("the plug-in has called the front end off the main thread");
    }
    return host;
}

int eventNamed(const QString& name)
{
    // Without the prefix, in the order of the enumeration.
    static const QStringList names
        = QStringLiteral(
              "STREAMING_STARTING STREAMING_STARTED STREAMING_STOPPING STREAMING_STOPPED RECORDING_STARTING "
              "RECORDING_STARTED RECORDING_STOPPING RECORDING_STOPPED SCENE_CHANGED SCENE_LIST_CHANGED "
              "TRANSITION_CHANGED TRANSITION_STOPPED TRANSITION_LIST_CHANGED SCENE_COLLECTION_CHANGED "
              "SCENE_COLLECTION_LIST_CHANGED PROFILE_CHANGED PROFILE_LIST_CHANGED EXIT REPLAY_BUFFER_STARTING "
              "REPLAY_BUFFER_STARTED REPLAY_BUFFER_STOPPING REPLAY_BUFFER_STOPPED STUDIO_MODE_ENABLED "
              "STUDIO_MODE_DISABLED PREVIEW_SCENE_CHANGED SCENE_COLLECTION_CLEANUP FINISHED_LOADING "
              "RECORDING_PAUSED RECORDING_UNPAUSED TRANSITION_DURATION_CHANGED REPLAY_BUFFER_SAVED "
              "VIRTUALCAM_STARTED VIRTUALCAM_STOPPED TBAR_VALUE_CHANGED SCENE_COLLECTION_CHANGING PROFILE_CHANGING "
              "SCRIPTING_SHUTDOWN PROFILE_RENAMED SCENE_COLLECTION_RENAMED THEME_CHANGED SCREENSHOT_TAKEN")
              .split(' '_L1);
    if (names.size() != OBS_FRONTEND_EVENT_SCREENSHOT_TAKEN + 1 || !names.contains(name)) {
        qFatal("unknown event \"%s\"", qUtf8Printable(name));
    }
    return static_cast<int>(names.indexOf(name));
}

QString nameOf(obs_source_t* source)
{
    return QString::fromUtf8(obs_source_get_name(source));
}

void append(const std::vector<OBSSource>& sources, obs_frontend_source_list* list)
{
    for (obs_source_t* source : sources) {
        obs_source_t* reference = obs_source_get_ref(source);
        da_push_back(list->sources, &reference);
    }
}

void switchOutput(QLatin1StringView command, bool& isActive, bool on, int startingEvent)
{
    host->commands << command + (on ? " on"_L1 : " off"_L1);
    if (host->dialog) {
        host->dialog();
        return;
    }
    const int event = on ? startingEvent : startingEvent + 2;
    host->raise(event);
    isActive = on;
    host->raise(event + 1);
}

} // namespace

FakeFrontEnd::FakeFrontEnd()
{
    ObsRuntime::settle(); // the scenes of the one before
    host = this;
    durationBox->setObjectName("transitionDuration"_L1);
    durationBox->setRange(50, 20000);
    durationBox->setValue(300);
    sceneList->setObjectName("scenes"_L1);
    config_open_string(&profile, "");
    obs_scene_t* scene = addScene("Main");
    for (const char* name : {"C", "B", "A"}) {
        items.insert(items.begin(), ObsRuntime::addItem(scene, name));
    }
    addScene("Größe");
    sceneList->addItem(u"Third"_s);
    addTransition("Cut");
    addTransition("Fade");
}

FakeFrontEnd::~FakeFrontEnd()
{
    // Newer hosts hold on to every scene that has not been removed.
    std::ranges::for_each(scenes, obs_source_remove);
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
    const OBSSourceAutoRelease added = obs_source_create(ObsRuntime::transitionId, name, nullptr, nullptr);
    transitions.emplace_back(added);
    currentTransition = currentTransition ? currentTransition : transitions.back();
}

void FakeFrontEnd::clearCollection()
{
    std::ranges::for_each(scenes, obs_source_remove);
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

void FakeFrontEnd::perform(const QString& script)
{
    const auto sceneNamed = [](const QString& name) {
        return OBSSource(OBSSourceAutoRelease(obs_get_source_by_name(qUtf8Printable(name))));
    };
    const auto removeScene = [this](const OBSSource& scene) { // OBS drops its own references too
        obs_source_remove(scene);
        std::erase(scenes, scene);
        previewScene = scene == previewScene ? nullptr : previewScene;
        currentScene = scene == currentScene ? scenes.at(0) : currentScene;
    };
    const auto first = [this] { return obs_scene_from_source(scenes.at(0)); };
    const auto item = [first](const QString& name) { return obs_scene_find_source(first(), qUtf8Printable(name)); };
    const auto add = [first](const QString& name) { return ObsRuntime::addItem(first(), qUtf8Printable(name)); };
    const QHash<QString, std::function<void(const QString&)>> steps {
        {u"event"_s, [this](auto name) { raise(eventNamed(name)); }},
        // Of the first scene: without an item, or about the other scene.
        {u"signal"_s, [this](auto name) { ObsRuntime::raise(scenes.at(0), qUtf8Printable(name), scenes.at(0)); }},
        {u"foreign signal"_s,
         [this](auto name) { ObsRuntime::raise(scenes.at(0), qUtf8Printable(name), scenes.at(1), items.at(0)); }},
        {u"hide item"_s, [=](auto name) { obs_sceneitem_set_visible(item(name), false); }},
        {u"lock item"_s, [=](auto name) { obs_sceneitem_set_locked(item(name), true); }},
        {u"remove item"_s, [=](auto name) { obs_sceneitem_remove(item(name)); }},
        {u"move to top item"_s, [=](auto name) { obs_sceneitem_set_order(item(name), OBS_ORDER_MOVE_TOP); }},
        {u"add item"_s, [=](auto name) { add(name); }},
        {u"add and remove item"_s, [=](auto name) { obs_sceneitem_remove(add(name)); }},
        {u"rename first scene"_s, [this](auto name) { obs_source_set_name(scenes.at(0), qUtf8Printable(name)); }},
        {u"disable scene"_s, [=](auto name) { obs_source_set_enabled(sceneNamed(name), false); }},
        {u"remove scene"_s, [=](auto name) { removeScene(sceneNamed(name)); }},
        // Without events, as if OBS had started so.
        {u"in studio mode with preview"_s,
         [=, this](auto name) { isStudioMode = bool(previewScene = sceneNamed(name)); }},
        {u"studio mode"_s, [](auto on) { obs_frontend_set_preview_program_mode(on == "on"_L1); }},
        {u"program scene"_s, [=](auto name) { obs_frontend_set_current_scene(sceneNamed(name)); }},
        {u"preview scene"_s, [=](auto name) { obs_frontend_set_current_preview_scene(sceneNamed(name)); }},
        {u"duration set to"_s, [](auto ms) { obs_frontend_set_transition_duration(ms.toInt()); }},
        {u"duration typed"_s, [this](auto ms) { durationBox->setValue(ms.toInt()); }},
        {u"duration box signals"_s, [this](auto on) { isSpinBoxSilent = on == "off"_L1; }},
        // Rows of the window's list of scenes.
        {u"drag to end row"_s,
         [this](auto row) { sceneList->model()->moveRow({}, row.toInt(), {}, sceneList->count()); }},
        {u"move row"_s, // "2>0"
         [this](auto row) { sceneList->insertItem(row[2].digitValue(), sceneList->takeItem(row[0].digitValue())); }},
        {u"remove row"_s, [this](auto row) { delete sceneList->takeItem(row.toInt()); }},
        {u"add row"_s, [this](auto name) { sceneList->addItem(name); }},
    };
    const QStringList parts = script.split(", "_L1, Qt::SkipEmptyParts);
    for (const QString& part : parts) {
        const auto step = steps.constFind(part.section(' '_L1, 0, -2));
        if (step == steps.cend()) {
            qFatal("unknown step \"%s\"", qUtf8Printable(part));
        }
        (*step)(part.section(' '_L1, -1));
    }
}

// The host's functions, exported from the test's executable and so found before those of the host's library. Sources
// that they return are the caller's to release.

// clang-format off
void* obs_frontend_get_main_window() { return onMainThread()->window.get(); }
void* obs_frontend_add_tools_menu_qaction(const char* name) { return new QAction(QString::fromUtf8(name), onMainThread()->window.get()); }
void obs_frontend_get_scenes(obs_frontend_source_list* list) { append(onMainThread()->scenes, list); }
void obs_frontend_get_transitions(obs_frontend_source_list* list) { append(onMainThread()->transitions, list); }
obs_source_t* obs_frontend_get_current_scene() { return obs_source_get_ref(onMainThread()->currentScene); }
obs_source_t* obs_frontend_get_current_transition() { return obs_source_get_ref(onMainThread()->currentTransition); }
int obs_frontend_get_transition_duration() { return onMainThread()->durationBox->value(); }
bool obs_frontend_preview_program_mode_active() { return onMainThread()->isStudioMode; }
bool obs_frontend_streaming_active() { return onMainThread()->isStreaming; }
bool obs_frontend_recording_active() { return onMainThread()->isRecording; }
obs_output_t* obs_frontend_get_streaming_output() { return obs_output_get_ref(onMainThread()->streamingOutput); }
obs_output_t* obs_frontend_get_recording_output() { return nullptr; }
config_t* obs_frontend_get_profile_config() { return onMainThread()->profile; }
obs_source_t* obs_frontend_get_current_preview_scene() { return onMainThread()->isStudioMode ? obs_source_get_ref(host->previewScene) : nullptr; }
void obs_frontend_streaming_start() { switchOutput("stream"_L1, host->isStreaming, true, OBS_FRONTEND_EVENT_STREAMING_STARTING); }
void obs_frontend_streaming_stop() { switchOutput("stream"_L1, host->isStreaming, false, OBS_FRONTEND_EVENT_STREAMING_STARTING); }
void obs_frontend_recording_start() { switchOutput("record"_L1, host->isRecording, true, OBS_FRONTEND_EVENT_RECORDING_STARTING); }
void obs_frontend_recording_stop() { switchOutput("record"_L1, host->isRecording, false, OBS_FRONTEND_EVENT_RECORDING_STARTING); }
void obs_frontend_add_event_callback(obs_frontend_event_cb callback, void* data) { host->callbacks.emplace_back(callback, data); }
void obs_frontend_remove_event_callback(obs_frontend_event_cb callback, void* data) { std::erase(host->callbacks, std::pair(callback, data)); }

// The functions of an output. A real one would need OpenGL.
obs_output_t* obs_output_get_ref(obs_output_t* output) { if (output) { ++output->references; } return output; }
void obs_output_release(obs_output_t* output) { if (output) { --output->references; } }
bool obs_output_active(const obs_output_t* output) { return output != nullptr; }
float obs_output_get_congestion(obs_output_t* output) { return output ? output->congestion : 0; }
int obs_output_get_total_frames(const obs_output_t* output) { return output ? output->totalFrames : 0; }
int obs_output_get_frames_dropped(const obs_output_t* output) { return output ? output->droppedFrames : 0; }
video_t* obs_output_video(const obs_output_t* output) { return reinterpret_cast<video_t*>(const_cast<obs_output_t*>(output)); }
uint64_t video_output_get_frame_time(const video_t* video) { return reinterpret_cast<const obs_output_t*>(video)->frameTime_ns; }

// clang-format on

void obs_frontend_set_current_scene(obs_source_t* scene)
{
    host->commands << u"scene "_s + nameOf(scene);
    if (obs_source_is_scene(scene) && scene != host->currentScene) {
        host->currentScene = scene;
        if (!host->isStudioMode) {
            host->raise(OBS_FRONTEND_EVENT_PREVIEW_SCENE_CHANGED);
        }
    }
}

void obs_frontend_set_current_preview_scene(obs_source_t* scene)
{
    host->commands << u"preview "_s + nameOf(scene);
    if (host->isStudioMode && obs_source_is_scene(scene) && scene != host->previewScene) {
        host->previewScene = scene;
        host->raise(OBS_FRONTEND_EVENT_PREVIEW_SCENE_CHANGED);
    }
}

void obs_frontend_set_current_transition(obs_source_t* transition)
{
    host->commands << u"transition "_s + nameOf(transition);
    host->currentTransition = transition;
    host->raise(OBS_FRONTEND_EVENT_TRANSITION_CHANGED);
}

void obs_frontend_set_transition_duration(int duration_ms)
{
    host->commands << u"duration %1"_s.arg(duration_ms);
    const int before_ms = host->durationBox->value();
    host->durationBox->blockSignals(host->isSpinBoxSilent);
    host->durationBox->setValue(duration_ms);
    host->durationBox->blockSignals(false);
    if (host->durationBox->value() != before_ms) {
        host->raise(OBS_FRONTEND_EVENT_TRANSITION_DURATION_CHANGED);
    }
}

void obs_frontend_set_preview_program_mode(bool enable)
{
    host->commands << (enable ? u"studio on"_s : u"studio off"_s);
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
    host->commands << u"trigger "_s + nameOf(host->currentTransition);
    std::swap(host->currentScene, host->previewScene);
}
