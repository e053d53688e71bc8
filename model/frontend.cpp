// SPDX-License-Identifier: GPL-2.0-or-later
#include "frontend.h"

#include <QListView>
#include <QSpinBox>
#include <QThread>

#include <utility>

using namespace Qt::StringLiterals;

FrontEnd::FrontEnd()
{
    obs_frontend_add_event_callback(onFrontendEvent, this);
    updateCurrentScene();
    updatePreviewScene();
    updateCurrentTransition();
    m_emittedTransitionDuration_ms = transitionDuration();
    watchMainWindow();
}

FrontEnd::~FrontEnd()
{
    m_currentScene.reset();
    m_previewScene.reset();
    m_currentTransition.reset();
    m_recordingOutput.reset();
    m_streamingOutput.reset();
}

void FrontEnd::onFrontendEvent(enum obs_frontend_event event, void* data)
{
    // Other plug-ins can make OBS raise an event on another thread.
    auto* self = static_cast<FrontEnd*>(data);
    if (self->thread() == QThread::currentThread()) {
        self->handleFrontendEvent(event);
    } else {
        QMetaObject::invokeMethod(
            self, [self, event] { self->handleFrontendEvent(event); }, Qt::QueuedConnection);
    }
}

void FrontEnd::watchMainWindow()
{
    auto* window = static_cast<QWidget*>(obs_frontend_get_main_window());
    if (!window) {
        return;
    }
    if (auto* duration = window->findChild<QSpinBox*>(u"transitionDuration"_s)) {
        connect(duration, &QSpinBox::valueChanged, this, &FrontEnd::emitTransitionDurationIfChanged);
    }
    auto* scenes = window->findChild<QListView*>(u"scenes"_s);
    if (scenes && scenes->model()) {
        m_sceneOrderWatch = std::make_unique<SceneOrderWatch>(scenes->model());
        connect(m_sceneOrderWatch.get(), &SceneOrderWatch::reordered, this, &FrontEnd::sceneListChanged);
    }
}

void FrontEnd::handleFrontendEvent(enum obs_frontend_event event)
{
    // Queued source signals go first, so that controllers see changes in their order.
    m_queue.deliver();

    switch (event) {
    case OBS_FRONTEND_EVENT_STREAMING_STARTED:
        emit streamingStateChanged(true);
        break;
    case OBS_FRONTEND_EVENT_STREAMING_STOPPED:
        emit streamingStateChanged(false);
        break;
    case OBS_FRONTEND_EVENT_RECORDING_STARTED:
        emit recordingStateChanged(true);
        break;
    case OBS_FRONTEND_EVENT_RECORDING_STOPPED:
        emit recordingStateChanged(false);
        break;
    case OBS_FRONTEND_EVENT_SCENE_CHANGED:
        m_collectionSwitch.notified(SceneCollectionSwitch::ProgramScene);
        updateCurrentScene();
        emit sceneChanged();
        break;
    case OBS_FRONTEND_EVENT_SCENE_LIST_CHANGED:
        if (m_sceneOrderWatch) {
            m_sceneOrderWatch->discardRows();
        }
        emit sceneListChanged();
        break;
    case OBS_FRONTEND_EVENT_TRANSITION_CHANGED:
        m_collectionSwitch.notified(SceneCollectionSwitch::Transitions);
        updateCurrentTransition();
        emit transitionChanged();
        break;
    case OBS_FRONTEND_EVENT_TRANSITION_STOPPED:
        emit transitionStopped();
        break;
    case OBS_FRONTEND_EVENT_TRANSITION_LIST_CHANGED:
        m_collectionSwitch.notified(SceneCollectionSwitch::Transitions);
        if (m_collectionSwitch.isUnderWay()) {
            updateCurrentTransition(); // released in the cleanup; the pushed list marks it
        }
        emit transitionListChanged();
        break;
    case OBS_FRONTEND_EVENT_TRANSITION_DURATION_CHANGED:
        emitTransitionDurationIfChanged();
        break;
    case OBS_FRONTEND_EVENT_SCENE_COLLECTION_CLEANUP:
        sceneCollectionCleanup();
        break;
    case OBS_FRONTEND_EVENT_SCENE_COLLECTION_CHANGED:
        sceneCollectionChanged();
        break;
    case OBS_FRONTEND_EVENT_STUDIO_MODE_ENABLED:
        updatePreviewScene();
        emit studioModeChanged(true);
        break;
    case OBS_FRONTEND_EVENT_STUDIO_MODE_DISABLED:
        emit studioModeChanged(false);
        break;
    case OBS_FRONTEND_EVENT_PREVIEW_SCENE_CHANGED:
        if (isStudioMode()) {
            m_collectionSwitch.notified(SceneCollectionSwitch::PreviewScene);
            updatePreviewScene();
            emit previewSceneChanged();
        }
        break;
    case OBS_FRONTEND_EVENT_EXIT:
        exit();
        break;
    default:
        break;
    }
}

void FrontEnd::sceneCollectionCleanup()
{
    // OBS counts the remaining sources after this event, and fails if a module still holds a reference to one.
    m_collectionSwitch.begin();
    releaseLater(m_currentScene);
    releaseLater(m_previewScene);
    m_currentTransition.reset();
}

// After the cleanup OBS deletes the rows of its item list by posted events, and each row disconnects from the signals
// of its scene. If our reference is the last one, the scene must not be destroyed before that. OBS counts the remaining
// sources only after those events.
void FrontEnd::releaseLater(std::unique_ptr<Scene>& wrapper)
{
    if (wrapper) {
        m_pendingReleases.emplace_back(wrapper->source());
        wrapper.reset();
        QMetaObject::invokeMethod(this, &FrontEnd::releasePending, Qt::QueuedConnection);
    }
}

void FrontEnd::releasePending()
{
    m_pendingReleases.clear();
}

void FrontEnd::sceneCollectionChanged()
{
    const auto pending = m_collectionSwitch.end();
    if (!pending) {
        return;
    }
    if (m_sceneOrderWatch) {
        m_sceneOrderWatch->discardRows();
    }
    // The wrappers of scenes with an event are already connected: replace only the others.
    const bool isScenePending = pending->testFlag(SceneCollectionSwitch::ProgramScene);
    const bool isPreviewPending = pending->testFlag(SceneCollectionSwitch::PreviewScene);
    if (isScenePending) {
        updateCurrentScene();
    }
    if (isPreviewPending) {
        updatePreviewScene();
    }
    updateCurrentTransition();
    if (isScenePending) {
        emit sceneChanged();
    }
    if (isPreviewPending && isStudioMode()) {
        emit previewSceneChanged();
    }
    if (pending->testFlag(SceneCollectionSwitch::Transitions)) {
        emit transitionListChanged();
    }
    emitTransitionDurationIfChanged();
}

void FrontEnd::exit()
{
    obs_frontend_remove_event_callback(onFrontendEvent, this);
    releasePending();
    // OBS destroys its outputs before it unloads this module.
    for (const auto& output : {&m_recordingOutput, &m_streamingOutput}) {
        if (*output) {
            (*output)->setOutput(nullptr);
        }
    }
}

void FrontEnd::updateCurrentScene()
{
    update(m_currentScene, obs_frontend_get_current_scene);
}

void FrontEnd::updatePreviewScene()
{
    update(m_previewScene, obs_frontend_get_current_preview_scene);
}

void FrontEnd::updateCurrentTransition()
{
    update(m_currentTransition, obs_frontend_get_current_transition);
}

template<typename Wrapper>
void FrontEnd::update(std::unique_ptr<Wrapper>& wrapper, obs_source_t* (*hostSource)())
{
    wrapper.reset();
    const OBSSourceAutoRelease source = hostSource();
    if (source) {
        wrapper = std::make_unique<Wrapper>(source, &m_queue);
        connect(wrapper.get(), &Source::removed, this, &FrontEnd::releaseRemovedSources, Qt::QueuedConnection);
    }
}

// Runs after the removal has been pushed. The release closes a camera that only this scene uses.
void FrontEnd::releaseRemovedSources()
{
    for (auto* scene : {&m_currentScene, &m_previewScene}) {
        if (*scene && obs_source_removed((*scene)->source())) {
            releaseLater(*scene);
        }
    }
    if (m_currentTransition && obs_source_removed(m_currentTransition->source())) {
        m_currentTransition.reset();
    }
}

Output* FrontEnd::recordingOutput() const
{
    return update(m_recordingOutput, obs_frontend_get_recording_output);
}

Output* FrontEnd::streamingOutput() const
{
    return update(m_streamingOutput, obs_frontend_get_streaming_output);
}

Output* FrontEnd::update(std::unique_ptr<Output>& wrapper, obs_output_t* (*hostOutput)())
{
    const OBSOutputAutoRelease output = hostOutput();
    if (!wrapper) {
        wrapper = std::make_unique<Output>(output);
    }
    wrapper->setOutput(output);
    return wrapper.get();
}

void FrontEnd::emitTransitionDurationIfChanged()
{
    // Some OBS versions block the spin box's signal, others also raise the event: emit only once.
    const int duration_ms = transitionDuration();
    if (std::exchange(m_emittedTransitionDuration_ms, duration_ms) != duration_ms) {
        emit transitionDurationChanged();
    }
}
