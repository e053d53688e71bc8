// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "scene.h"
#include "transition.h"

#include <obs-frontend-api.h>

// Fills a list of the caller's with snapshots of all scenes or all transitions, in the host's order, and deletes them
// when the scope ends. Main thread.
template<typename Wrapper, void (*hostSources)(obs_frontend_source_list*)>
class ScopedList
{
public:
    explicit ScopedList(QList<Wrapper*>& list)
        : m_list(list)
    {
        obs_frontend_source_list sources {};
        hostSources(&sources);
        for (std::size_t i = 0; i < sources.sources.num; ++i) {
            if (obs_source_t* source = sources.sources.array[i]) {
                m_list.append(new Wrapper(source));
            }
        }
        obs_frontend_source_list_free(&sources);
    }

    ~ScopedList()
    {
        qDeleteAll(m_list);
        m_list.clear();
    }

    Q_DISABLE_COPY_MOVE(ScopedList)

private:
    QList<Wrapper*>& m_list;
};

using ScopedSceneList = ScopedList<Scene, obs_frontend_get_scenes>;
using ScopedTransitionList = ScopedList<Transition, obs_frontend_get_transitions>;
