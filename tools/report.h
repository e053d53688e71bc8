// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "session.h"

// What the commands print, for a person or as JSON, one value a line.
namespace Report {

// A property: its value in words, or name and value.
void value(Session& session, const QString& name);
void jsonValue(const QString& name, const QJsonValue& value);

// A property that was to change, with what it reads now; false when it was so already.
void jsonChange(const QString& name, const QJsonValue& value, bool isChanged);

// Ways to fail; they give the status to exit with.
int refused(const QString& text, const QString& advice = {});
int usageError(const QString& text);
int connectionLost(Session& session);
int unconnected(Session& session);

// "Recording is on"
QString switchText(const QString& property, bool on);

// Names to choose from, for an advice.
QString choice(const QStringList& names);

} // namespace Report
