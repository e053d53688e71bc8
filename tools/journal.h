// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonValue>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What has arrived from the plug-in, in order of arrival.
class Journal
{
public:
    // An arrival to look for; without a value any will do.
    struct Expectation
    {
        QString name;
        std::optional<QJsonValue> value;
    };

    void append(const QString& name, const QJsonValue& value) { m_entries.append({name, value}); }

    void clear() { m_entries.clear(); }

    QStringList names() const;

    // Every value of one property.
    QList<QJsonValue> values(const QString& name) const;

    // Whether these came one right after the other.
    bool hasRun(const QList<Expectation>& run) const;

private:
    struct Entry
    {
        QString name;
        QJsonValue value;
    };

    QList<Entry> m_entries;
};
