// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

// An empty folder in the place of the user's data folder, until it is destroyed. The environment chooses it on Linux.
// On Windows nothing but Qt's test mode does, which has one folder for all tests: they must not run at the same time.
class DataFolder
{
public:
    DataFolder()
    {
#ifdef Q_OS_WIN
        QStandardPaths::setTestModeEnabled(true);
        QDir(path()).removeRecursively();
        QDir().mkpath(path());
#else
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.path()));
#endif
    }

#ifdef Q_OS_WIN
    ~DataFolder()
    {
        QDir(path()).removeRecursively();
    }
    Q_DISABLE_COPY_MOVE(DataFolder)
#endif

    static QString path()
    {
        return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    }

    static QString filePath(const QString& name)
    {
        return QDir(path()).filePath(name);
    }

#ifndef Q_OS_WIN
private:
    QTemporaryDir m_folder {QDir::temp().filePath(QStringLiteral("Größe"))};
#endif
};
