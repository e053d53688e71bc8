// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QDir>
#include <QFile>
#include <QOperatingSystemVersion>
#include <QStandardPaths>
#include <QTemporaryDir>

// An empty folder in the place of the user's data folder. The environment chooses it on Linux, until it is destroyed.
// On Windows nothing but Qt's test mode does, which has one folder for all tests: they must not run at the same time.
class DataFolder
{
public:
    DataFolder()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.path()));
        if (QOperatingSystemVersion::currentType() == QOperatingSystemVersion::Windows) {
            QStandardPaths::setTestModeEnabled(true);
            QDir(path()).removeRecursively();
            QDir().mkpath(path());
        }
    }

    static QString path() { return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation); }

    static QString filePath(const QString& name) { return QDir(path()).filePath(name); }

private:
    QTemporaryDir m_folder {QDir::temp().filePath(QStringLiteral("Größe"))};
};
