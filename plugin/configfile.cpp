// SPDX-License-Identifier: GPL-2.0-or-later
#include "configfile.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

ConfigFile::ConfigFile()
{
    const QString folder
        = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/corvane/Wrenlink/"_L1;
    if (!QDir(folder).exists()) {
        QDir().mkpath(folder);
    }
    m_file.setFileName(folder + "config.json"_L1);
    static_cast<void>(m_file.open(QIODevice::ReadWrite | QIODevice::Text)); // isOpen() tells
}

int ConfigFile::readPort()
{
    QJsonObject settings = QJsonDocument::fromJson(m_file.isOpen() ? m_file.readAll() : QByteArray()).object();
    const int port = settings.value("port"_L1).toInt(0);
    if (port >= minimumPort && port <= maximumPort) {
        return port;
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
