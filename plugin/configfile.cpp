// SPDX-License-Identifier: GPL-2.0-or-later
#include "configfile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
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
    m_errorString = m_file.errorString();
}

QString ConfigFile::defaultPath()
{
    // The folder keeps its name so that existing configurations stay valid.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/corvane/Wrenlink/config.json"_L1;
}

std::optional<int> ConfigFile::portIn(const QJsonObject& settings)
{
    const int port = settings.value(portKey).toInt(0);
    return port >= minimumPort && port <= maximumPort ? std::optional(port) : std::nullopt;
}

int ConfigFile::readPort()
{
    const QJsonObject settings = readSettings();
    if (const std::optional<int> port = portIn(settings)) {
        return *port;
    }
    if (settings.contains(portKey)) {
        const QByteArray value = QJsonDocument(QJsonArray {settings.value(portKey)}).toJson(QJsonDocument::Compact);
        m_warning = "The port in the configuration file has to be a whole number from "
            + QByteArray::number(minimumPort) + " to " + QByteArray::number(maximumPort) + ", not "
            + value.mid(1, value.size() - 2);
    }
    write(settings, defaultPort);
    return defaultPort;
}

bool ConfigFile::writePort(int port)
{
    return write(readSettings(), port);
}

QJsonObject ConfigFile::readSettings()
{
    if (!m_file.isOpen()) {
        return {};
    }
    const QByteArray bytes = m_file.readAll();
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isObject() && !bytes.trimmed().isEmpty()) {
        keepInvalidFile();
    }
    return document.object();
}

void ConfigFile::keepInvalidFile()
{
    const QString copy = path() + ".invalid"_L1;
    QFile::remove(copy);
    const QString outcome
        = QFile::copy(path(), copy) ? u"The old file is kept as %1"_s.arg(copy) : u"The old file could not be kept"_s;
    m_warning = "The configuration file is not a JSON object and is replaced. " + outcome.toLocal8Bit();
}

bool ConfigFile::write(QJsonObject settings, int port)
{
    if (!m_file.isOpen()) {
        return false;
    }
    settings[portKey] = port;
    const bool isWritten = m_file.resize(0) && m_file.seek(0)
        && m_file.write(QJsonDocument(settings).toJson(QJsonDocument::Indented)) > 0 && m_file.flush();
    m_errorString = m_file.errorString();
    m_file.close();
    return isWritten;
}
