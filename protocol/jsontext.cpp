// SPDX-License-Identifier: GPL-2.0-or-later
#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace {

bool isPlain(char character)
{
    return character >= ' ' && character < '\x7f' && character != '"' && character != '\\';
}

} // namespace

JsonText& JsonText::open(char bracket)
{
    separate();
    m_text.append(bracket);
    m_isFirst = true;
    return *this;
}

JsonText& JsonText::close(char bracket)
{
    m_text.append(bracket);
    m_isFirst = false;
    return *this;
}

JsonText& JsonText::key(QLatin1StringView name)
{
    separate();
    m_text.append('"').append(name.data(), name.size()).append("\":", 2);
    m_isFirst = true;
    return *this;
}

JsonText& JsonText::boolean(bool value)
{
    separate();
    m_text.append(value ? "true" : "false");
    return *this;
}

JsonText& JsonText::number(qsizetype value)
{
    separate();
    m_text.append(QByteArray::number(static_cast<qlonglong>(value)));
    return *this;
}

JsonText& JsonText::string(QByteArrayView utf8)
{
    separate();
    if (std::all_of(utf8.begin(), utf8.end(), isPlain)) {
        m_text.append('"').append(utf8).append('"');
    } else {
        const QByteArray array = QJsonDocument(QJsonArray {QString::fromUtf8(utf8)}).toJson(QJsonDocument::Compact);
        m_text.append(QByteArrayView(array).sliced(1).chopped(1));
    }
    return *this;
}

void JsonText::separate()
{
    if (!m_isFirst) {
        m_text.append(',');
    }
    m_isFirst = false;
}
