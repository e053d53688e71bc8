// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QVariant>

#include <optional>

// A controller's number, when it is whole and within the bounds. Qt's own toInt would read 2.5 and 1e300 as 0, with
// success, and cut 64-bit numbers.
std::optional<qint64> wholeNumber(const QVariant& value, qint64 minimum, qint64 maximum);
