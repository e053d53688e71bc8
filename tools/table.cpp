// SPDX-License-Identifier: GPL-2.0-or-later
#include "table.h"

#include <algorithm>

namespace {

constexpr qsizetype gap_columns = 2;

} // namespace

void Table::addRow(const QList<Cell>& cells)
{
    m_rows.append(cells);
    while (!m_rows.last().isEmpty() && m_rows.last().last().text.isEmpty()) {
        m_rows.last().removeLast();
    }
}

QStringList Table::lines() const
{
    QList<qsizetype> widths;
    for (const QList<Cell>& row : m_rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], Console::columnsOf(Console::printable(row[i].text)));
        }
    }
    QStringList lines;
    for (const QList<Cell>& row : m_rows) {
        QString line;
        for (qsizetype i = 0; i < row.size(); ++i) {
            const QString text = Console::printable(row[i].text);
            const qsizetype columns = i + 1 < row.size() ? widths[i] + gap_columns : 0;
            line += Console::styled(Console::padded(text, columns), row[i].style);
        }
        lines.append(line);
    }
    return lines;
}

void Table::print() const
{
    for (const QString& line : lines()) {
        Console::printLine(line);
    }
}
