// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QString>

// Statistics as text with their unit, for direct display on a controller.
namespace DisplayText {

// Two significant digits: "12%", "5.7%", "1e+02%".
QString cpuUsage(double percent);

// Mebibytes, one decimal: "2048.0 MB".
QString memory(quint64 bytes);

// One decimal: "117.7 MB", "500.0 GB", "3.0 TB". One MB is 1024.01 squared bytes: controllers rely on these figures.
QString freeDisk(quint64 bytes);

} // namespace DisplayText
