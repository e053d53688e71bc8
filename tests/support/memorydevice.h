// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QIODevice>

#include <algorithm>
#include <limits>

// Replaces a socket in a test: reads return `input`, writes append to `output`.
class MemoryDevice : public QIODevice
{
public:
    MemoryDevice() { open(ReadWrite | Unbuffered); }

    bool isSequential() const override { return true; }

    qint64 bytesAvailable() const override { return input.size(); }

    QByteArray input;
    QByteArray output;
    int writesAllowed = std::numeric_limits<int>::max(); // the one after these fails

protected:
    qint64 readData(char* data, qint64 maximum) override
    {
        const auto count = std::min<qint64>(maximum, input.size());
        std::copy_n(input.cbegin(), count, data);
        input.remove(0, count);
        return count;
    }

    qint64 writeData(const char* data, qint64 length) override
    {
        if (writesAllowed-- == 0) {
            return -1;
        }
        output.append(data, length);
        return length;
    }
};
