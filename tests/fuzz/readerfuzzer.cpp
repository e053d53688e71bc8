// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any bytes, in pieces of any size, into the reader. The first byte chooses the size of the pieces.
#include "network/networkreader.h"
#include "tests/support/memorydevice.h"

// The objects that the reader emits, and whether all bytes were well-formed.
static std::pair<QList<QJsonObject>, bool> readInPieces(const QByteArray& bytes, qsizetype size)
{
    MemoryDevice device;
    NetworkReader reader(&device);
    QList<QJsonObject> objects;
    QObject::connect(&reader, &NetworkReader::receivedJson, &reader,
                     [&objects](const QJsonObject& json) { objects.append(json); });
    bool isWellFormed = true;
    for (qsizetype i = 0; i < bytes.size() && isWellFormed; i += size) {
        device.input += bytes.mid(i, size);
        isWellFormed = reader.readFrames();
    }
    return {objects, isWellFormed};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size) - 1);
    if (readInPieces(bytes, bytes.size()) != readInPieces(bytes, 1 + data[0] % 16)) {
        abort(); // the result depends on how the bytes were cut
    }
    return 0;
}
