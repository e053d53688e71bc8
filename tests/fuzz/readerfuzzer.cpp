// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any bytes, in pieces of any size, into the reader. The first byte chooses the size of the pieces.
#include "network/networkreader.h"
#include "tests/support/memorydevice.h"

// What the reader gives out must not depend on how the bytes were cut.
static QList<QJsonObject> objectsIn(const QByteArray& bytes, qsizetype pieceSize, bool& isWellFormed)
{
    MemoryDevice device;
    NetworkReader reader(&device);
    QList<QJsonObject> objects;
    QObject::connect(&reader, &NetworkReader::receivedJson, &reader,
                     [&objects](const QJsonObject& json) { objects.append(json); });
    isWellFormed = true;
    for (qsizetype i = 0; i < bytes.size() && isWellFormed; i += pieceSize) {
        device.input.append(bytes.mid(i, pieceSize));
        isWellFormed = reader.readFrames();
    }
    return objects;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size) - 1);
    bool isWhole = false;
    bool isCut = false;
    const QList<QJsonObject> whole = objectsIn(bytes, bytes.size(), isWhole);
    const QList<QJsonObject> cut = objectsIn(bytes, 1 + data[0] % 16, isCut);
    if (whole != cut || isWhole != isCut) {
        abort();
    }
    return 0;
}
