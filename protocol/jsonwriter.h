// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonValue>

#include <cstring>
#include <string_view>

// Writes JSON straight into compact text, for values too large to be built as a tree first. The caller nests and
// orders; the writer adds commas. (RapidJSON's writer, which escapes byte by byte, takes ten times as long for
// "sceneList".)
class JsonWriter
{
public:
    JsonWriter& beginObject() { return open('{'); }

    JsonWriter& endObject() { return close('}'); }

    JsonWriter& beginArray() { return open('['); }

    JsonWriter& endArray() { return close(']'); }

    // A name that needs no escaping. Its value has to follow.
    JsonWriter& key(std::string_view name)
    {
        writeComma();
        append("\"");
        append(name);
        append("\":");
        m_isFirst = true;
        return *this;
    }

    JsonWriter& boolean(bool value)
    {
        writeComma();
        append(value ? "true" : "false");
        return *this;
    }

    JsonWriter& number(qsizetype value);
    // Text in UTF-8; what is invalid becomes U+FFFD.
    JsonWriter& string(QByteArrayView utf8);

    JsonWriter& value(const QJsonValue& value);

    // Returns the text, which ends the writing.
    QByteArray take();

private:
    JsonWriter& open(char bracket)
    {
        writeComma();
        *reserve(1) = bracket;
        m_isFirst = true;
        return *this;
    }

    JsonWriter& close(char bracket)
    {
        *reserve(1) = bracket;
        m_isFirst = false;
        return *this;
    }

    void writeComma()
    {
        if (!m_isFirst) {
            *reserve(1) = ',';
        }
        m_isFirst = false;
    }

    void append(std::string_view text)
    {
        std::memcpy(reserve(static_cast<qsizetype>(text.size())), text.data(), text.size());
    }

    void appendEncoded(const QJsonValue& value);

    // Returns a buffer of so many bytes, to be written before the next call.
    char* reserve(qsizetype size_bytes)
    {
        if (m_text.size() - m_length_bytes < size_bytes) {
            grow(size_bytes);
        }
        char* buffer = m_begin + m_length_bytes;
        m_length_bytes += size_bytes;
        return buffer;
    }

    void grow(qsizetype missing_bytes);

    QByteArray m_text; // its size is the capacity
    char* m_begin = nullptr;
    qsizetype m_length_bytes = 0;
    bool m_isFirst = true; // of its object or array, or right after a key
};
