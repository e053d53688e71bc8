// SPDX-License-Identifier: GPL-2.0-or-later
#include "portoption.h"

#include "kestrelclient.h"

#include <QCommandLineParser>
#include <QFile>
#include <QJsonDocument>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace {

constexpr int minimumPort = 1;
constexpr int maximumPort = 65353;

QString configurationPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/corvane/Wrenlink/config.json"_L1;
}

std::optional<quint16> checkedPort(int port)
{
    return port >= minimumPort && port <= maximumPort ? std::optional(static_cast<quint16>(port)) : std::nullopt;
}

std::optional<quint16> configuredPort()
{
    QFile file(configurationPath());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return std::nullopt;
    }
    return checkedPort(QJsonDocument::fromJson(file.readAll()).object().value("port"_L1).toInt(0));
}

} // namespace

PortOption::PortOption(QCommandLineParser& parser)
    : m_option(u"port"_s,
               u"The port that the plug-in listens on, %1 to %2. Without it, the port in the plug-in's configuration "
               "file, else %3."_s.arg(minimumPort)
                   .arg(maximumPort)
                   .arg(KestrelClient::defaultPort),
               u"number"_s)
{
    parser.addOption(m_option);
}

std::optional<quint16> PortOption::port(const QCommandLineParser& parser) const
{
    if (parser.isSet(m_option)) {
        return checkedPort(parser.value(m_option).toInt());
    }
    return configuredPort().value_or(KestrelClient::defaultPort);
}

QString PortOption::advice(quint16 port)
{
    return u"Is the host running, with the plug-in loaded? Its log has a line \"[kestrelbridge]\" that names its "
           "port; here %1 was tried (choose another with --port). The plug-in's configuration file is %2"_s.arg(port)
               .arg(configurationPath());
}
