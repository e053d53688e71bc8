// SPDX-License-Identifier: GPL-2.0-or-later
//
// The four functions that OBS calls in a module, and the front-end event callback that creates the plug-in object. All
// of it runs on OBS's main thread.
#include "kestrelbridge.h"
#include "support/log.h"

#include <QCoreApplication>

#include <obs-module.h>

static KestrelBridge* instance = nullptr;
static obs_module_t* moduleHandle = nullptr;

// The libobs API that the module is written for: 27.2.4.
constexpr uint32_t declaredApiVersion = 0x1B020004;

void frontendEventCallback(enum obs_frontend_event event, void* private_data)
{
    if (event != OBS_FRONTEND_EVENT_FINISHED_LOADING && event != OBS_FRONTEND_EVENT_EXIT) {
        return;
    }
    if (!instance) {
        if (!QCoreApplication::instance()) {
            logInfo("OBS has no Qt 6 application, KestrelBridge stays inactive");
            obs_frontend_remove_event_callback(frontendEventCallback, private_data);
            return;
        }
        instance = new KestrelBridge;
        if (event == OBS_FRONTEND_EVENT_FINISHED_LOADING) {
            instance->addToolsMenuEntry(moduleHandle);
        }
    }
    if (event == OBS_FRONTEND_EVENT_EXIT) {
        instance->stop();
        obs_frontend_remove_event_callback(frontendEventCallback, private_data);
    }
}

MODULE_EXPORT bool obs_module_load()
{
    obs_frontend_add_event_callback(frontendEventCallback, reinterpret_cast<void*>(frontendEventCallback));
    return true;
}

MODULE_EXPORT void obs_module_unload()
{
    delete instance;
    instance = nullptr;
}

MODULE_EXPORT void obs_module_set_pointer(obs_module_t* module)
{
    moduleHandle = module;
}

MODULE_EXPORT uint32_t obs_module_ver()
{
    return declaredApiVersion;
}
