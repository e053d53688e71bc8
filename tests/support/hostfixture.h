// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QObject>

#include <functional>

#include <obs.hpp>

// The real libobs inside a test, with source types of the tests' own. It needs a display.
namespace Host {

// Once a process; of the host's log only errors are shown from then on. False when libobs does not start, which
// nothing else here survives.
[[nodiscard]] bool start();

// Waits for the host's destruction thread: a source keeps its name until that is through with it.
void settle();

// Shuts down and returns how many of the host's allocations are left; -1 when it had not started.
[[nodiscard]] long stop();

OBSSourceAutoRelease transition(const char* name);

// A new input, put on top of the scene. The item is the scene's.
obs_sceneitem_t* addItem(obs_scene_t* scene, const char* name);

// Raises a signal of the source by hand, with these arguments besides "source" and, for a scene, "scene".
void raise(obs_source_t* source, const char* signal, const std::function<void(calldata_t*)>& addArguments = {});

// Runs it on another thread and waits for its end; the event loop does not turn meanwhile.
void onOtherThread(const std::function<void()>& function);

} // namespace Host
