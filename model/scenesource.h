// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "source.h"

// One item of a scene: wraps the source that the item shows, and holds a reference to the item.
class SceneSource : public Source
{
public:
    explicit SceneSource(obs_sceneitem_t* item, SignalQueue* queue = nullptr);

    obs_sceneitem_t* item() const { return m_item; }

    bool isVisible() const;
    bool isLocked() const;

    // The item's Scene emits the change. An item that is no longer in its scene is not changed.
    void setVisible(bool visible);
    void setLocked(bool locked);

    // {"name", "isVisible", "isLocked"}. Part of the interface; the plug-in itself does not call it.
    QJsonObject toJson() const override;

    QString typeName() const override;

private:
    template<typename Change>
    void changeInScene(Change change);

    OBSSceneItem m_item;
    OBSScene m_scene; // null when the item is in no scene any more
};
