// SPDX-License-Identifier: GPL-2.0-or-later
#include "wholenumber.h"

#include <cmath>

std::optional<qint64> wholeNumber(const QVariant& value, qint64 minimum, qint64 maximum)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    // Compare as double first: the conversion of a number out of range is undefined.
    if (!ok || std::trunc(number) != number || number < static_cast<double>(minimum)
        || number > static_cast<double>(maximum)) {
        return std::nullopt;
    }
    return static_cast<qint64>(number);
}
