// SPDX-License-Identifier: GPL-2.0-or-later
#include "configfile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

ConfigFile::ConfigFile()
    : m_file(defaultPath())
{
    const QFileInfo file(m_file);
    QDir().mkpath(file.path());
    // Opening a named pipe would block OBS, and reading a device might not end.
    if (!file.exists() || (file.isFile() && file.size() <= maximumSize_bytes)) {
        static_cast<void>(m_file.open(QIODevice::ReadWrite | QIODevice::Text)); // see isOpen()
    }
}

QString ConfigFile::defaultPath()
{
    // The folder keeps its name so that existing configurations stay valid.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/corvane/Wrenlink/config.json"_L1;
}

std::optional<int> ConfigFile::portIn(const QJsonObject& settings)
{
    const int port = settings.value("port"_L1).toInt(0);
    return port >= minimumPort && port <= maximumPort ? std::optional(port) : std::nullopt;
}

int ConfigFile::readPort()
{
    QJsonObject settings = QJsonDocument::fromJson(m_file.isOpen() ? m_file.readAll() : QByteArray()).object();
    if (const std::optional<int> port = portIn(settings)) {
        return *port;
    }
    settings["port"_L1] = defaultPort;
    if (m_file.isOpen()) {
        m_file.resize(0);
        m_file.seek(0);
        m_file.write(QJsonDocument(settings).toJson(QJsonDocument::Indented));
        m_file.close();
    }
    return defaultPort;
}
