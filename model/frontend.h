// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "output.h"
#include "scene.h"
#include "scenecollectionswitch.h"
#include "sceneorderwatch.h"
#include "signalqueue.h"
#include "transition.h"

#include <QObject>

#include <memory>
#include <vector>

#include <obs-frontend-api.h>

// The bridge to the host's front end: turns its events into Qt signals, caches wrappers of what is current, and carries
// out queries and commands.
//
// Main thread only, but for the host's events, which may come on any. Commands of the host run inside the call, events
// and signals they raise included; some open a modal dialog and so a nested event loop. Every command delivers the
// host's signals that it raised before it returns.
class FrontEnd : public QObject
{
    Q_OBJECT

public:
    FrontEnd();
    // The event callback is unregistered at the host's EXIT event, not here: end the bridge after that.
    ~FrontEnd() override;

    static void onFrontendEvent(enum obs_frontend_event event, void* data);

    // The cached wrappers, owned by the bridge and replaced on the host's events: use them at once. Null when the host
    // has none, while a scene collection is exchanged, and after the host has removed the source.
    Scene* currentScene() const { return m_currentScene.get(); }

    Scene* previewScene() const { return m_previewScene.get(); }

    Transition* currentTransition() const { return m_currentTransition.get(); }

    // Never null; pointed at the host's output of that kind, if any, on each call.
    Output* recordingOutput();
    Output* streamingOutput();

    bool isStreaming() const;
    bool isRecording() const;
    bool isStudioMode() const;
    int transitionDuration() const; // milliseconds

    // Passed on to the host whatever its state.
    void setStreaming(bool on);
    void setRecording(bool on);
    void setStudioMode(bool on);
    void setTransitionDuration(int duration_ms);
    void triggerTransition(); // in studio mode only

    // A name that the host does not know changes nothing.
    void setCurrentScene(const QString& name);
    void setPreviewScene(const QString& name);
    void setCurrentTransition(const QString& name);

    // Emits what the wrappers have enqueued so far. To be called after each change made through a wrapper.
    void deliverHostSignals() { m_queue.deliver(); }

signals:
    void streamingStateChanged(bool isStreaming);
    void recordingStateChanged(bool isRecording);
    void studioModeChanged(bool isStudioMode);
    void sceneListChanged();
    void sceneChanged();
    void previewSceneChanged();
    void transitionChanged();
    void transitionListChanged();
    void transitionStopped();
    void transitionDurationChanged();

private:
    void handleFrontendEvent(enum obs_frontend_event event);
    void sceneCollectionCleanup();
    void sceneCollectionChanged();
    void exit();

    void updateCurrentScene();
    void updatePreviewScene();
    void updateCurrentTransition();
    template<typename Wrapper>
    void update(std::unique_ptr<Wrapper>& wrapper, obs_source_t* (*hostSource)());
    void releaseLater(std::unique_ptr<Scene>& wrapper);
    void releasePending();
    void releaseRemovedSources();
    Output* update(std::unique_ptr<Output>& wrapper, obs_output_t* (*hostOutput)());

    template<typename Call, typename... Arguments>
    void command(Call call, Arguments... arguments);

    void emitTransitionDurationIfChanged();
    void watchMainWindow();

    SignalQueue m_queue; // outlives the wrappers
    std::unique_ptr<Scene> m_currentScene;
    std::unique_ptr<Scene> m_previewScene;
    std::unique_ptr<Transition> m_currentTransition;
    std::unique_ptr<Output> m_recordingOutput;
    std::unique_ptr<Output> m_streamingOutput;
    std::unique_ptr<SceneOrderWatch> m_sceneOrderWatch;
    SceneCollectionSwitch m_collectionSwitch;
    std::vector<OBSSource> m_pendingReleases; // until OBS has deleted its rows that refer to them
    int m_emittedTransitionDuration_ms = 0;
};
