// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonValue>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

// Writes compact JSON text directly, for values that are too large to build as a tree first. The caller is responsible
// for the nesting and for the order of the keys.
using JsonBuffer = rapidjson::StringBuffer;
using JsonWriter = rapidjson::Writer<JsonBuffer>;

// Writes UTF-8 text as a JSON string. Invalid bytes become U+FFFD.
void writeString(JsonWriter& writer, QByteArrayView utf8);

void writeValue(JsonWriter& writer, const QJsonValue& value);
