// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QJsonValue>

#include <cstring>
#include <string_view>

// JSON written straight into compact text, for a value too large to be built as a tree first. The caller nests and
// orders; commas come by themselves.
class JsonText
{
public:
    JsonText& beginObject() { return open('{'); }

    JsonText& endObject() { return close('}'); }

    JsonText& beginArray() { return open('['); }

    JsonText& endArray() { return close(']'); }

    // A name that needs no escaping; its value has to follow.
    JsonText& key(std::string_view name)
    {
        separate();
        append("\"");
        append(name);
        append("\":");
        m_isFirst = true;
        return *this;
    }

    JsonText& boolean(bool value)
    {
        separate();
        append(value ? "true" : "false");
        return *this;
    }

    JsonText& number(qsizetype value);
    // Text in UTF-8; what is invalid becomes U+FFFD.
    JsonText& string(QByteArrayView utf8);

    JsonText& value(const QJsonValue& value);

    // What was written, which ends the writing.
    QByteArray take();

private:
    JsonText& open(char bracket)
    {
        separate();
        *claim(1) = bracket;
        m_isFirst = true;
        return *this;
    }

    JsonText& close(char bracket)
    {
        *claim(1) = bracket;
        m_isFirst = false;
        return *this;
    }

    void separate()
    {
        if (!m_isFirst) {
            *claim(1) = ',';
        }
        m_isFirst = false;
    }

    void append(std::string_view text)
    {
        std::memcpy(claim(static_cast<qsizetype>(text.size())), text.data(), text.size());
    }

    void appendEncoded(const QJsonValue& value);

    // Room for so many bytes, to be written before the next call.
    char* claim(qsizetype size_bytes)
    {
        if (m_text.size() - m_length_bytes < size_bytes) {
            grow(size_bytes);
        }
        char* room = m_begin + m_length_bytes;
        m_length_bytes += size_bytes;
        return room;
    }

    void grow(qsizetype missing_bytes);

    QByteArray m_text; // larger than what is written
    char* m_begin = nullptr;
    qsizetype m_length_bytes = 0;
    bool m_isFirst = true; // of its object or array, or right after a key
};
