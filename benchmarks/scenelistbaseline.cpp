// SPDX-License-Identifier: GPL-2.0-or-later
#include "scenelistbaseline.h"

#include <vector>

#include <obs-frontend-api.h>
#include <obs.hpp>

namespace {

// Valid for a moment: OBS owns the name.
struct ItemFacts
{
    const char* name;
    bool isVisible;
    bool isLocked;
};

void appendText(std::string& text, const char* value)
{
    text += '"';
    for (; *value; ++value) {
        if (*value == '"' || *value == '\\') {
            text += '\\';
        }
        text += *value;
    }
    text += '"';
}

bool appendFacts(obs_scene_t* /*scene*/, obs_sceneitem_t* item, void* facts)
{
    static_cast<std::vector<ItemFacts>*>(facts)->push_back(
        {obs_source_get_name(obs_sceneitem_get_source(item)), obs_sceneitem_visible(item), obs_sceneitem_locked(item)});
    return true;
}

// OBS enumerates the items from the bottom-most up, the list has the top-most first.
void appendItems(std::string& text, obs_source_t* scene, std::vector<ItemFacts>& items)
{
    items.clear();
    obs_scene_enum_items(obs_scene_from_source(scene), appendFacts, &items);
    for (std::size_t i = 0; i < items.size(); ++i) {
        const ItemFacts& item = items[items.size() - 1 - i];
        text += i ? R"(,{"isLocked":)" : R"({"isLocked":)";
        text += item.isLocked ? "true" : "false";
        text += item.isVisible ? R"(,"isVisible":true,"name":)" : R"(,"isVisible":false,"name":)";
        appendText(text, item.name);
        text += R"(,"sortIndex":)" + std::to_string(i) + '}';
    }
}

} // namespace

std::string sceneListMessage()
{
    const OBSSourceAutoRelease current = obs_frontend_preview_program_mode_active()
        ? obs_frontend_get_current_preview_scene()
        : obs_frontend_get_current_scene();
    obs_frontend_source_list scenes {};
    obs_frontend_get_scenes(&scenes);

    std::string text = R"({"values":[{"name":"sceneList","type":"set","value":[)";
    std::vector<ItemFacts> items;
    for (std::size_t i = 0; i < scenes.sources.num; ++i) {
        obs_source_t* scene = scenes.sources.array[i];
        text += i ? R"(,{"isCurrent":)" : R"({"isCurrent":)";
        text += scene == current.Get() ? R"(true,"name":)" : R"(false,"name":)";
        appendText(text, obs_source_get_name(scene));
        text += R"(,"sortIndex":)" + std::to_string(i) + R"(,"sourceList":[)";
        appendItems(text, scene, items);
        text += "]}";
    }
    obs_frontend_source_list_free(&scenes);
    return text + "]}]}";
}
