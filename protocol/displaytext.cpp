// SPDX-License-Identifier: GPL-2.0-or-later
#include "displaytext.h"

using namespace Qt::StringLiterals;

namespace DisplayText {

QString cpuUsage(double percent)
{
    return QString::number(percent, 'g', 2) + '%'_L1;
}

QString memory(quint64 bytes)
{
    constexpr double mebibytesPerByte = 1.0 / (1 << 20);
    return QString::number(static_cast<double>(bytes) * mebibytesPerByte, 'f', 1) + " MB"_L1;
}

QString freeDisk(quint64 bytes)
{
    constexpr double bytesPerUnit = 1048596.4801;
    constexpr quint64 gigabyte = quint64 {1} << 30;
    constexpr quint64 terabyte = quint64 {1} << 40;

    double figure = static_cast<double>(bytes) / bytesPerUnit;
    QLatin1StringView unit = " MB"_L1;
    if (bytes > terabyte) {
        figure /= 1 << 20;
        unit = " TB"_L1;
    } else if (bytes > gigabyte) {
        figure /= 1 << 10;
        unit = " GB"_L1;
    }
    return QString::number(figure, 'f', 1) + unit;
}

} // namespace DisplayText
