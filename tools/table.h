// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "console.h"

#include <QList>
#include <QStringList>

// Rows whose columns are aligned. Names from the host are made printable.
class Table
{
public:
    struct Cell
    {
        QString text;
        Console::Style style = Console::Style::Plain;
    };

    void addRow(const QList<Cell>& cells);

    QStringList lines() const;
    void print() const;

private:
    QList<QList<Cell>> m_rows;
};
