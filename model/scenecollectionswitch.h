// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QFlags>

#include <optional>
#include <utility>

// What is pending while OBS switches to another scene collection.
//
// OBS raises the event "cleanup", destroys the sources of the old collection, loads the new one, and raises "changed".
// Between the two it raises the events of some changes but, depending on its version and on the collection, not of all.
// The changes without an event have to be pushed at the end.
class SceneCollectionSwitch
{
public:
    enum Change {
        ProgramScene = 1,
        PreviewScene = 2,
        Transitions = 4,
    };
    Q_DECLARE_FLAGS(Changes, Change)

    // A cleanup during a switch starts it anew.
    void begin() { m_pending = Changes(ProgramScene | PreviewScene | Transitions); }

    bool isUnderWay() const { return m_pending.has_value(); }

    // OBS has raised the event of this change. Without effect when no switch is under way.
    void notified(Change change)
    {
        if (m_pending) {
            m_pending->setFlag(change, false);
        }
    }

    // Ends the switch and returns the changes that are still pending; nothing when no switch is under way.
    [[nodiscard]] std::optional<Changes> end() { return std::exchange(m_pending, std::nullopt); }

private:
    std::optional<Changes> m_pending;
};
