// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QFile>
#include <QStringList>
#include <QTest>

inline QByteArray contents(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("no file %s", qUtf8Printable(path));
    }
    return file.readAll();
}

// Fills a test's rows from a text table beside its source: lines "name | cell | cell", all of them texts.
inline void addTable(const QString& path, std::initializer_list<const char*> columns)
{
    for (const char* column : columns) {
        QTest::addColumn<QString>(column);
    }
    const QStringList lines = QString::fromUtf8(contents(path)).split(u'\n');
    for (const QString& line : lines) {
        const QStringList cells = line.split(u'|');
        if (line.isEmpty() || line.startsWith(u'#')) {
            continue;
        }
        if (cells.size() != static_cast<qsizetype>(columns.size()) + 1) {
            qFatal("a line with other columns: %s", qUtf8Printable(line));
        }
        QTestData& row = QTest::newRow(qUtf8Printable(cells.constFirst().trimmed()));
        for (const QString& cell : cells.mid(1)) {
            row << cell.trimmed();
        }
    }
}
