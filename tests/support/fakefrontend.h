// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QListWidget>
#include <QSpinBox>
#include <QStringList>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

#include <obs-frontend-api.h>
#include <obs.hpp>
#include <util/config-file.h>

// What OBS knows of an output.
struct obs_output
{
    float congestion = 0;
    int totalFrames = 0;
    int droppedFrames = 0;
    uint64_t frameTime_ns = 0;
    int references = 0;
};

// A fake of OBS's front end with real sources. The front-end functions that the plug-in uses are defined in its source
// file: queries answer from its state, commands are recorded and raise the same events as OBS, in the same order. They
// end the test when the plug-in calls them off the main thread. One instance at a time.
class FakeFrontEnd
{
public:
    // The program scene "Main" with the items A, B and C from the top, the scene "Größe", the transitions "Cut" (the
    // current one, 300 ms) and "Fade".
    FakeFrontEnd();
    ~FakeFrontEnd();
    Q_DISABLE_COPY_MOVE(FakeFrontEnd)

    // Appended to the list and to the window's list; the first becomes the current one.
    obs_scene_t* addScene(const char* name);
    void addTransition(const char* name);

    // Removes all scenes and transitions, as OBS does before CLEANUP.
    void clearCollection();

    // Calls the registered callbacks from the last to the first, as OBS does; they may change the list.
    void raise(int event);

    // What OBS, its user or another plug-in does: "hide item A, event SCENE_CHANGED". Each step ends in its argument;
    // perform() lists them. Items are those of the first scene. An unknown step ends the test.
    void perform(const QString& script);

    std::vector<OBSSource> scenes;
    std::vector<obs_sceneitem_t*> items; // of the first scene, from the top
    std::vector<OBSSource> transitions;
    OBSSource currentScene;
    OBSSource previewScene;
    OBSSource currentTransition;
    bool isStreaming = false;
    bool isRecording = false;
    bool isStudioMode = false;
    std::function<void()> dialog; // opened by a start or stop of streaming and recording, which then fails
    obs_output_t* streamingOutput = nullptr;
    bool isSpinBoxSilent = false; // newer versions of OBS set the spin box with its signals blocked
    config_t* profile = nullptr;  // owned
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QSpinBox* durationBox = new QSpinBox(new QWidget(window.get()));
    QListWidget* sceneList = new QListWidget(new QWidget(window.get()));
    QStringList commands; // "set_current_scene Main", in order
    std::vector<std::pair<obs_frontend_event_cb, void*>> callbacks;
};
