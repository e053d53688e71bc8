// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QVariant>

#include <optional>

// One bit for each item of a scene, as a signed 32-bit number: the item at position i (0 is the top-most) has bit
// i mod 32. In scenes with more than 32 items several items share a bit, which then has the value of the last of them.
class ItemMask
{
public:
    static constexpr int width_bits = 32;

    ItemMask() = default;

    explicit ItemMask(qint32 value)
        : m_bits(static_cast<quint32>(value))
    {}

    // Converts a controller's value: a whole number of 32 bits, signed or unsigned. Other values give nothing.
    static std::optional<ItemMask> fromVariant(const QVariant& value);

    void setBit(qsizetype position, bool isSet);

    bool bit(qsizetype position) const { return (m_bits & bitOf(position)) != 0; }

    qint32 value() const { return static_cast<qint32>(m_bits); }

private:
    static quint32 bitOf(qsizetype position) { return quint32 {1} << (position % width_bits); }

    quint32 m_bits = 0;
};
