// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QLatin1StringView>

#include <array>

// The properties of the full state, in its order. "fps" is left out: only an explicit read returns it.
inline constexpr std::array<QLatin1StringView, 20> statePropertyNames {
    QLatin1StringView("cpuUsage"),          QLatin1StringView("memoryUsage"),
    QLatin1StringView("freeDisk"),          QLatin1StringView("recordingTime"),
    QLatin1StringView("streamingTime"),     QLatin1StringView("totalFrames"),
    QLatin1StringView("droppedFrames"),     QLatin1StringView("congestion"),
    QLatin1StringView("studioMode"),        QLatin1StringView("triggerTransition"),
    QLatin1StringView("streaming"),         QLatin1StringView("recording"),
    QLatin1StringView("sceneList"),         QLatin1StringView("currentScene"),
    QLatin1StringView("previewScene"),      QLatin1StringView("sourceLocks"),
    QLatin1StringView("sourceVisibles"),    QLatin1StringView("transitionsList"),
    QLatin1StringView("currentTransition"), QLatin1StringView("transitionDuration"),
};
