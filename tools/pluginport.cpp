// SPDX-License-Identifier: GPL-2.0-or-later
#include "pluginport.h"

#include "kestrelclient.h"

#include <QFile>
#include <QJsonDocument>
#include <QStandardPaths>

#include <CLI/CLI.hpp>

using namespace Qt::StringLiterals;

namespace {

constexpr int minimumPort = 1;
constexpr int maximumPort = 65353;

QString configurationPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/corvane/Wrenlink/config.json"_L1;
}

quint16 configuredPort()
{
    QFile file(configurationPath());
    int port = 0;
    if (file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        port = QJsonDocument::fromJson(file.readAll())["port"_L1].toInt();
    }
    return port >= minimumPort && port <= maximumPort ? static_cast<quint16>(port) : KestrelClient::defaultPort;
}

} // namespace

namespace PluginPort {

void addOption(CLI::App& app, quint16& port)
{
    port = configuredPort();
    app.add_option("--port", port,
                   "Port that the plug-in listens on; without it the one in the plug-in's configuration file, else "
                       + std::to_string(KestrelClient::defaultPort))
        ->type_name("NUMBER")
        ->check(CLI::Range(minimumPort, maximumPort).description({}));
}

QString advice(quint16 port)
{
    return u"Is the host running, with the plug-in loaded? Its log has a line \"[kestrelbridge]\" that names its "
           "port; here %1 was tried (choose another with --port). The plug-in's configuration file is %2"_s.arg(port)
               .arg(configurationPath());
}

} // namespace PluginPort
