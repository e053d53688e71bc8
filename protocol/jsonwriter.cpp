// SPDX-License-Identifier: GPL-2.0-or-later
#include "jsonwriter.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUtf8StringView>

void writeString(JsonWriter& writer, QByteArrayView utf8)
{
    if (QUtf8StringView(utf8).isValidUtf8()) {
        writer.String(utf8.data(), static_cast<rapidjson::SizeType>(utf8.size()));
    } else {
        const QByteArray valid = QString::fromUtf8(utf8).toUtf8();
        writer.String(valid.constData(), static_cast<rapidjson::SizeType>(valid.size()));
    }
}

void writeValue(JsonWriter& writer, const QJsonValue& value)
{
    if (value.isBool()) {
        writer.Bool(value.toBool());
    } else if (value.isString()) {
        writeString(writer, value.toString().toUtf8());
    } else {
        // Qt encodes only documents: encode an array of this value, and omit its brackets.
        const QByteArray array = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
        writer.RawValue(array.constData() + 1, static_cast<std::size_t>(array.size()) - 2, rapidjson::kArrayType);
    }
}
