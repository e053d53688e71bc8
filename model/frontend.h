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

// The bridge to the front end of OBS: turns front-end events into Qt signals, caches wrappers of the current scene, the
// preview scene and the current transition, and carries out queries and commands.
//
// Main thread only, except that OBS may raise front-end events on any thread. OBS carries out a command inside the call
// and raises the resulting events and signals there too; some commands open a modal dialog, which runs a nested event
// loop. Every command delivers the signals that it has raised before it returns.
class FrontEnd : public QObject
{
    Q_OBJECT

public:
    FrontEnd();
    // The event callback is unregistered at OBS_FRONTEND_EVENT_EXIT, not here: destroy the bridge after that event.
    ~FrontEnd() override;

    static void onFrontendEvent(enum obs_frontend_event event, void* data);

    // The cached wrappers. The bridge owns them and replaces them on front-end events: use them at once. Null when OBS
    // has none, during a switch of the scene collection, and after OBS has removed the source.
    Scene* currentScene() const { return m_currentScene.get(); }

    Scene* previewScene() const { return m_previewScene.get(); }

    Transition* currentTransition() const { return m_currentTransition.get(); }

    // Never null. Each call points the wrapper at the current output of OBS, if there is one.
    Output* recordingOutput() const;
    Output* streamingOutput() const;

    bool isStreaming() const;
    bool isRecording() const;
    bool isStudioMode() const;
    int transitionDuration() const; // milliseconds

    // OBS is called whatever the current state is.
    void setStreaming(bool on);
    void setRecording(bool on);
    void setStudioMode(bool on);
    void setTransitionDuration(int duration_ms);
    void triggerTransition(); // in studio mode only

    // An unknown name changes nothing.
    void setCurrentScene(const QString& name);
    void setPreviewScene(const QString& name);
    void setCurrentTransition(const QString& name);

    // Delivers the pending signals of the wrappers. Call it after each change that is made through a wrapper.
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
    static Output* update(std::unique_ptr<Output>& wrapper, obs_output_t* (*hostOutput)());

    template<typename Call, typename... Arguments>
    void command(Call call, Arguments... arguments);

    void emitTransitionDurationIfChanged();
    void watchMainWindow();

    SignalQueue m_queue; // outlives the wrappers
    std::unique_ptr<Scene> m_currentScene;
    std::unique_ptr<Scene> m_previewScene;
    std::unique_ptr<Transition> m_currentTransition;
    mutable std::unique_ptr<Output> m_recordingOutput;
    mutable std::unique_ptr<Output> m_streamingOutput;
    std::unique_ptr<SceneOrderWatch> m_sceneOrderWatch;
    SceneCollectionSwitch m_collectionSwitch;
    std::vector<OBSSource> m_pendingReleases; // until OBS has deleted the rows that refer to them
    int m_emittedTransitionDuration_ms = 0;
};
