// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "scene.h"
#include "transition.h"

#include <deque>

#include <obs-frontend-api.h>

// A range of snapshots of all scenes or all transitions, in the order in which OBS lists them. It holds a reference to
// each of them until its scope ends. Main thread.
template<typename Wrapper, void (*hostSources)(obs_frontend_source_list*)>
class ScopedList
{
public:
    ScopedList()
    {
        obs_frontend_source_list sources {};
        hostSources(&sources);
        for (std::size_t i = 0; i < sources.sources.num; ++i) {
            if (obs_source_t* source = sources.sources.array[i]) {
                m_wrappers.emplace_back(source);
            }
        }
        obs_frontend_source_list_free(&sources);
    }

    auto begin() const { return m_wrappers.begin(); }

    auto end() const { return m_wrappers.end(); }

private:
    std::deque<Wrapper> m_wrappers; // never moves its elements, which are QObjects
};

using ScopedSceneList = ScopedList<Scene, obs_frontend_get_scenes>;
using ScopedTransitionList = ScopedList<Transition, obs_frontend_get_transitions>;
