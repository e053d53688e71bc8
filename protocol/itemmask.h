// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QVariant>

#include <optional>

// The mask of a scene's items: a signed 32-bit number in which the item at position i (0 is the top-most) owns bit
// i mod 32. Past the 32nd item positions share their bits, the later one deciding what is read.
class ItemMask
{
public:
    static constexpr int width_bits = 32;

    ItemMask() = default;

    explicit ItemMask(qint32 value)
        : m_bits(static_cast<quint32>(value))
    {}

    // From a controller's value: a whole number of 32 bits, signed or, with bit 31 set, unsigned. Nothing else
    // converts.
    static std::optional<ItemMask> fromVariant(const QVariant& value);

    void setBit(qsizetype position, bool isSet);

    bool bit(qsizetype position) const { return (m_bits & bitOf(position)) != 0; }

    qint32 value() const { return static_cast<qint32>(m_bits); }

private:
    static quint32 bitOf(qsizetype position) { return quint32 {1} << (position % width_bits); }

    quint32 m_bits = 0;
};
