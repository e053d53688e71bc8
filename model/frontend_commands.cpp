// SPDX-License-Identifier: GPL-2.0-or-later
#include "frontend.h"
#include "scopedlist.h"

#include <QPointer>

#include <algorithm>

bool FrontEnd::isStreaming() const
{
    return obs_frontend_streaming_active();
}

bool FrontEnd::isRecording() const
{
    return obs_frontend_recording_active();
}

bool FrontEnd::isStudioMode() const
{
    return obs_frontend_preview_program_mode_active();
}

int FrontEnd::transitionDuration() const
{
    return obs_frontend_get_transition_duration();
}

// Calls OBS, then delivers the signals that the call has raised. OBS can open a modal dialog inside the call and end
// meanwhile, and the bridge with it.
template<typename Call, typename... Arguments>
void FrontEnd::command(Call call, Arguments... arguments)
{
    const QPointer<FrontEnd> self(this);
    call(arguments...);
    if (self) {
        m_queue.deliver();
    }
}

void FrontEnd::setStreaming(bool on)
{
    command(on ? obs_frontend_streaming_start : obs_frontend_streaming_stop);
}

void FrontEnd::setRecording(bool on)
{
    command(on ? obs_frontend_recording_start : obs_frontend_recording_stop);
}

void FrontEnd::setStudioMode(bool on)
{
    command(obs_frontend_set_preview_program_mode, on);
}

void FrontEnd::setTransitionDuration(int duration_ms)
{
    command(obs_frontend_set_transition_duration, duration_ms);
}

void FrontEnd::triggerTransition()
{
    if (isStudioMode()) {
        command(obs_frontend_preview_program_trigger_transition);
    }
}

// Null when OBS has no source of that name. OBS would cut a name with U+0000 there and find another source.
static OBSSourceAutoRelease findSource(const QString& name)
{
    return name.contains(QChar::Null) ? nullptr : obs_get_source_by_name(name.toUtf8().constData());
}

void FrontEnd::setCurrentScene(const QString& name)
{
    if (const OBSSourceAutoRelease source = findSource(name)) {
        command(obs_frontend_set_current_scene, source.Get());
    }
}

void FrontEnd::setPreviewScene(const QString& name)
{
    if (const OBSSourceAutoRelease source = findSource(name)) {
        command(obs_frontend_set_current_preview_scene, source.Get());
    }
}

void FrontEnd::setCurrentTransition(const QString& name)
{
    const ScopedTransitionList transitions;
    const auto found = std::find_if(transitions.begin(), transitions.end(),
                                    [&name](const Transition& transition) { return transition.name() == name; });
    if (found != transitions.end()) {
        command(obs_frontend_set_current_transition, found->source());
    }
}
