// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QVariant>

#include <optional>

// Converts a controller's number if it is whole and within the bounds. QVariant::toInt() would report success for 2.5
// and 1e300, and truncate 64-bit numbers.
std::optional<qint64> wholeNumber(const QVariant& value, qint64 minimum, qint64 maximum);
