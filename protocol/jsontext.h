// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QByteArray>
#include <QLatin1StringView>

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
    JsonText& key(QLatin1StringView name);

    JsonText& boolean(bool value);
    JsonText& number(qsizetype value);
    // Text in UTF-8; what is invalid becomes U+FFFD.
    JsonText& string(QByteArrayView utf8);

    QByteArray take() { return std::exchange(m_text, {}); }

private:
    JsonText& open(char bracket);
    JsonText& close(char bracket);
    void separate();

    QByteArray m_text;
    bool m_isFirst = true; // of its object or array, or right after a key
};
