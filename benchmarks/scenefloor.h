// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <string>

// The message that tells the whole scene list, made by walking the host's scenes and items once and writing the text
// as it goes: what no plug-in can do with less. Main thread.
std::string sceneListMessage();
