// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

// Writes one line to OBS's log at LOG_INFO, prefixed with "[kestrelbridge] ". printf format; text is in UTF-8. Any
// thread.
[[gnu::format(printf, 1, 2)]] void logInfo(const char* format, ...);
