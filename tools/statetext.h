// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QJsonObject>
#include <QString>

class KestrelClient;

// The values of properties in words for a person. Names from the host are made printable.
namespace StateText {

// "Interview: Lower third, Guest (hidden), Host (locked)"; the current scene is marked.
QString scene(const QJsonObject& scene);

// One line for the latest value of a property; some values are explained with others that the client holds.
QString value(const KestrelClient& client, const QString& name);

} // namespace StateText
