// SPDX-License-Identifier: GPL-2.0-or-later
#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <charconv>

namespace {

bool isPlain(char character)
{
    return character >= ' ' && character < '\x7f' && character != '"' && character != '\\';
}

} // namespace

JsonText& JsonText::number(qsizetype value)
{
    constexpr qsizetype longest_bytes = 20;
    separate();
    char* room = claim(longest_bytes);
    const char* end = std::to_chars(room, room + longest_bytes, value).ptr;
    m_length_bytes -= longest_bytes - (end - room);
    return *this;
}

JsonText& JsonText::string(QByteArrayView utf8)
{
    separate();
    if (std::all_of(utf8.begin(), utf8.end(), isPlain)) {
        append("\"");
        append(std::string_view(utf8.data(), static_cast<std::size_t>(utf8.size())));
        append("\"");
    } else {
        appendEncoded(QString::fromUtf8(utf8));
    }
    return *this;
}

JsonText& JsonText::value(const QJsonValue& value)
{
    if (value.isBool()) {
        return boolean(value.toBool());
    }
    if (value.isString()) {
        return string(value.toString().toUtf8());
    }
    separate();
    appendEncoded(value);
    return *this;
}

void JsonText::appendEncoded(const QJsonValue& value)
{
    const QByteArray array = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    append(std::string_view(array).substr(1, static_cast<std::size_t>(array.size()) - 2));
}

QByteArray JsonText::take()
{
    m_text.truncate(m_length_bytes);
    return std::move(m_text);
}

void JsonText::grow(qsizetype missing_bytes)
{
    constexpr qsizetype least_bytes = 512;
    m_text.resize(std::max({2 * m_text.size(), m_length_bytes + missing_bytes, least_bytes}));
    m_begin = m_text.data();
}
