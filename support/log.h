// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

// Writes one line to the host's log at LOG_INFO, with "[kestrelbridge] " in front. printf format; texts are given as
// the host takes them, in UTF-8. Any thread.
[[gnu::format(printf, 1, 2)]] void logInfo(const char* format, ...);
