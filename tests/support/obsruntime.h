// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QObject>

#include <obs.hpp>

// The real libobs inside a test, with two source types for tests. It needs a display.
namespace ObsRuntime {

// Call it once a process; then only errors of libobs are printed. False when libobs does not start: then nothing else
// here may be called.
[[nodiscard]] bool start();

// Waits for the destruction thread of libobs: a source keeps its name until that thread has destroyed it.
void settle();

// How many sources are referenced, after waiting for that thread.
[[nodiscard]] long countSources();

// Shuts down and returns the number of allocations that libobs leaks; -1 when it was not started.
[[nodiscard]] long stop();

constexpr char transitionId[] = "test_transition";

// A new input, put on top of the scene. The scene owns the item.
obs_sceneitem_t* addItem(obs_scene_t* scene, const char* name);

// Emits a signal of a scene, with these arguments: "source" and "scene" of a scene that may be another, and "item".
void raise(obs_source_t* emitter, const char* signal, obs_source_t* scene, obs_sceneitem_t* item = nullptr);

} // namespace ObsRuntime
