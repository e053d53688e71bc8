// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QString>

namespace CLI {
class App;
} // namespace CLI

// Which port the plug-in listens on: the option --port, else what its configuration file says, else its default.
namespace PluginPort {

// Adds the option; the variable holds the port once the arguments are parsed.
void addOption(CLI::App& app, quint16& port);

// What to try when nobody answers on the port.
QString advice(quint16 port);

} // namespace PluginPort
