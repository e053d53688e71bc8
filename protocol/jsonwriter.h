// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonValue>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

// Writes JSON straight into compact text, for values too large to be built as a tree first. The caller nests and
// orders.
using JsonBuffer = rapidjson::StringBuffer;
using JsonWriter = rapidjson::Writer<JsonBuffer>;

// Text in UTF-8; what is invalid becomes U+FFFD.
void writeString(JsonWriter& writer, QByteArrayView utf8);

void writeValue(JsonWriter& writer, const QJsonValue& value);
