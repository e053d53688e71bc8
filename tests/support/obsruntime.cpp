// SPDX-License-Identifier: GPL-2.0-or-later
#include "obsruntime.h"

#include <cstdarg>

namespace {

constexpr char inputId[] = "test_input";

void registerType(const char* id, obs_source_type type)
{
    obs_source_info info {};
    info.id = id;
    info.type = type;
    info.get_name = [](void*) { return "Test"; };
    info.create = [](obs_data_t*, obs_source_t* context) { return static_cast<void*>(context); };
    info.destroy = [](void*) {};
    info.audio_render = [](void*, uint64_t*, obs_source_audio_mix*, uint32_t, size_t, size_t) { return false; };
    obs_register_source(&info);
}

void reportErrors(int level, const char* format, va_list arguments, void* /*parameter*/)
{
    if (level <= LOG_ERROR) {
        qWarning("%s", qUtf8Printable(QString::vasprintf(format, arguments)));
    }
}

} // namespace

namespace ObsRuntime {

bool start()
{
    base_set_log_handler(reportErrors, nullptr);
    if (!obs_startup("en-US", nullptr, nullptr)) {
        return false;
    }
    registerType(inputId, OBS_SOURCE_TYPE_INPUT);
    registerType(transitionId, OBS_SOURCE_TYPE_TRANSITION);
    return true;
}

void settle()
{
    // What a source's end releases is queued behind it: the items of a scene, what they show.
    constexpr int depth = 3;
    for (int i = 0; i < depth; ++i) {
        obs_queue_task(
            OBS_TASK_DESTROY, [](void*) {}, nullptr, true);
    }
}

long countSources()
{
    settle();
    long count = 0;
    const auto countOne = [](void* data, obs_source_t*) { return ++*static_cast<long*>(data) > 0; };
    obs_enum_all_sources(countOne, &count);
    return count;
}

long stop()
{
    if (!obs_initialized()) {
        return -1;
    }
    settle();
    obs_shutdown();
    return bnum_allocs();
}

obs_sceneitem_t* addItem(obs_scene_t* scene, const char* name)
{
    const OBSSourceAutoRelease source = obs_source_create(inputId, name, nullptr, nullptr);
    return obs_scene_add(scene, source);
}

void raise(obs_source_t* emitter, const char* signal, obs_source_t* scene, obs_sceneitem_t* item)
{
    calldata_t arguments;
    calldata_init(&arguments);
    calldata_set_ptr(&arguments, "source", scene);
    calldata_set_ptr(&arguments, "scene", obs_scene_from_source(scene));
    calldata_set_ptr(&arguments, "item", item);
    signal_handler_signal(obs_source_get_signal_handler(emitter), signal, &arguments);
    calldata_free(&arguments);
}

} // namespace ObsRuntime
