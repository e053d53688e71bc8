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

void FrontEnd::setStreaming(bool on)
{
    const QPointer<FrontEnd> self(this);
    if (on) {
        obs_frontend_streaming_start(); // can open a dialog, and everything can end while it is open
    } else {
        obs_frontend_streaming_stop();
    }
    if (self) {
        m_queue.deliver();
    }
}

void FrontEnd::setRecording(bool on)
{
    const QPointer<FrontEnd> self(this);
    if (on) {
        obs_frontend_recording_start(); // can open a dialog, and everything can end while it is open
    } else {
        obs_frontend_recording_stop();
    }
    if (self) {
        m_queue.deliver();
    }
}

void FrontEnd::setStudioMode(bool on)
{
    obs_frontend_set_preview_program_mode(on);
    m_queue.deliver();
}

void FrontEnd::setTransitionDuration(int duration_ms)
{
    obs_frontend_set_transition_duration(duration_ms);
    m_queue.deliver();
}

void FrontEnd::triggerTransition()
{
    if (isStudioMode()) {
        obs_frontend_preview_program_trigger_transition();
        m_queue.deliver();
    }
}

// Null when OBS has no source of that name. OBS would cut a name at U+0000, and find another source.
static OBSSourceAutoRelease findSource(const QString& name)
{
    return name.contains(QChar::Null) ? nullptr : obs_get_source_by_name(name.toUtf8().constData());
}

void FrontEnd::setCurrentScene(const QString& name)
{
    if (const OBSSourceAutoRelease source = findSource(name)) {
        obs_frontend_set_current_scene(source);
        m_queue.deliver();
    }
}

void FrontEnd::setPreviewScene(const QString& name)
{
    if (const OBSSourceAutoRelease source = findSource(name)) {
        obs_frontend_set_current_preview_scene(source);
        m_queue.deliver();
    }
}

void FrontEnd::setCurrentTransition(const QString& name)
{
    QList<Transition*> transitions;
    const ScopedTransitionList scope(transitions);
    const auto found = std::find_if(transitions.cbegin(), transitions.cend(),
                                    [&name](const Transition* transition) { return transition->name() == name; });
    if (found != transitions.cend()) {
        obs_frontend_set_current_transition((*found)->source());
        m_queue.deliver();
    }
}
