// SPDX-License-Identifier: GPL-2.0-or-later
#include "itemmask.h"

#include "wholenumber.h"

#include <limits>

std::optional<ItemMask> ItemMask::fromVariant(const QVariant& value)
{
    const std::optional<qint64> number
        = wholeNumber(value, std::numeric_limits<qint32>::min(), std::numeric_limits<quint32>::max());
    return number ? std::optional(ItemMask(static_cast<qint32>(*number))) : std::nullopt;
}

void ItemMask::setBit(qsizetype position, bool isSet)
{
    if (isSet) {
        m_bits |= bitOf(position);
    } else {
        m_bits &= ~bitOf(position);
    }
}
