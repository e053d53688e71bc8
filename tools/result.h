// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

namespace ExitStatus {

constexpr int done = 0;
constexpr int failed = 1; // refused, or not confirmed in time
constexpr int usage = 2;
constexpr int noConnection = 3;

} // namespace ExitStatus

// What a command returns; printed by Terminal::print().
struct Result
{
    int status = ExitStatus::done;
    QStringList lines {};       // for a person
    QList<QJsonObject> json {}; // the same for a program
    QString error {};
    QString hint {}; // what to do about the error

    static Result failure(const QString& error, const QString& hint = {}, int status = ExitStatus::failed)
    {
        return {.status = status, .error = error, .hint = hint};
    }

    static Result usageError(const QString& error)
    {
        return failure(error, QStringLiteral("See kestrelctl --help."), ExitStatus::usage);
    }
};
