// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <string>

// The plug-in's message with the scene list, made with the least work: one walk through the scenes and items of OBS
// that writes the text directly. For names without control characters. Main thread.
std::string sceneListMessage();
