// SPDX-License-Identifier: GPL-2.0-or-later
#include "jsonwriter.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <charconv>

namespace {

// A lambda, which std::all_of() inlines: "sceneList" consists mostly of names.
constexpr auto isPlain
    = [](char character) { return character >= ' ' && character < '\x7f' && character != '"' && character != '\\'; };

} // namespace

JsonWriter& JsonWriter::number(qsizetype value)
{
    constexpr qsizetype longest_bytes = 20;
    writeComma();
    char* buffer = reserve(longest_bytes);
    const char* end = std::to_chars(buffer, buffer + longest_bytes, value).ptr;
    m_length_bytes -= longest_bytes - (end - buffer);
    return *this;
}

JsonWriter& JsonWriter::string(QByteArrayView utf8)
{
    writeComma();
    if (std::all_of(utf8.begin(), utf8.end(), isPlain)) {
        append("\"");
        append(std::string_view(utf8.data(), static_cast<std::size_t>(utf8.size())));
        append("\"");
    } else {
        appendEncoded(QString::fromUtf8(utf8));
    }
    return *this;
}

JsonWriter& JsonWriter::value(const QJsonValue& value)
{
    if (value.isBool()) {
        return boolean(value.toBool());
    }
    if (value.isString()) {
        return string(value.toString().toUtf8());
    }
    writeComma();
    appendEncoded(value);
    return *this;
}

void JsonWriter::appendEncoded(const QJsonValue& value)
{
    const QByteArray array = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    append(std::string_view(array).substr(1, static_cast<std::size_t>(array.size()) - 2));
}

QByteArray JsonWriter::take()
{
    m_text.truncate(m_length_bytes);
    return std::move(m_text);
}

void JsonWriter::grow(qsizetype missing_bytes)
{
    constexpr qsizetype minimum_bytes = 512;
    m_text.resize(std::max({2 * m_text.size(), m_length_bytes + missing_bytes, minimum_bytes}));
    m_begin = m_text.data();
}
