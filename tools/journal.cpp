// SPDX-License-Identifier: GPL-2.0-or-later
#include "journal.h"

#include <algorithm>

QStringList Journal::names() const
{
    QStringList names;
    for (const Entry& entry : m_entries) {
        names.append(entry.name);
    }
    return names;
}

QList<QJsonValue> Journal::values(const QString& name) const
{
    QList<QJsonValue> values;
    for (const Entry& entry : m_entries) {
        if (entry.name == name) {
            values.append(entry.value);
        }
    }
    return values;
}

bool Journal::hasRun(const QList<Expectation>& run) const
{
    const auto isMet = [](const Entry& entry, const Expectation& expected) {
        return entry.name == expected.name && (!expected.value || entry.value == *expected.value);
    };
    return std::search(m_entries.begin(), m_entries.end(), run.begin(), run.end(), isMet) != m_entries.end();
}
