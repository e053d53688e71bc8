// SPDX-License-Identifier: GPL-2.0-or-later
#include "plugin/configfile.h"

#include "tests/support/datafolder.h"

#include <QTest>

#include <optional>

#ifndef Q_OS_WIN
#include <sys/stat.h>
#endif

using namespace Qt::StringLiterals;

// The port's file in every state it can be found in.
class ConfigFileTest : public QObject
{
    Q_OBJECT

private slots:

    void init()
    {
        m_folder.emplace();
        m_file.setFileName(m_folder->filePath(u"corvane/Wrenlink/config.json"_s));
    }

    void readsPort_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<int>("port");
        QTest::addColumn<QByteArray>("after");
        for (const char* bytes : {"", "port=8080", "[2022]"}) {
            QTest::addRow("no settings: '%s'", bytes) << QByteArray(bytes) << 2021 << defaultFile;
        }
        for (const char* port :
             {"0", "-1", "65354", "65535", "2021.5", "true", "\"8080\"", "null", "4294969318", "1e300"}) {
            // Longer than what replaces it.
            QTest::addRow("invalid port %s", port)
                << "{\"port\":"_ba + port + '}' + QByteArray(100, ' ') << 2021 << defaultFile;
        }
        QTest::newRow("other keys stay") << R"({"z":1,"port":0,"a":"ä"})"_ba << 2021
                                         << asText("{\n    \"a\": \"ä\",\n    \"port\": 2021,\n    \"z\": 1\n}\n");
        for (const int port : {1, 8080, 65353}) {
            const QByteArray bytes = "{ \"port\":" + QByteArray::number(port) + ",\r\n\t\"a\":1}";
            QTest::addRow("valid port %d", port) << bytes << port << bytes;
        }
    }

    void readsPort()
    {
        QFETCH(const QByteArray, before);
        QVERIFY(QDir().mkpath(QFileInfo(m_file).path()));
        QVERIFY(m_file.open(QIODevice::WriteOnly) && m_file.write(before) == before.size());
        m_file.close();
        ConfigFile config;
        QCOMPARE(config.path(), m_file.fileName());
        QTEST(config.readPort(), "port");
        config.close();
        QVERIFY(m_file.open(QIODevice::ReadOnly));
        QTEST(m_file.readAll(), "after");
        m_file.close();
    }

    void createsFileAndFolders()
    {
        QCOMPARE(ConfigFile().readPort(), 2021);
        QVERIFY(m_file.open(QIODevice::ReadOnly));
        QCOMPARE(m_file.readAll(), defaultFile);
        m_file.close();
    }

    void usesDefaultPortWithoutFile()
    {
        QVERIFY(QDir().mkpath(m_file.fileName())); // a folder of that name
        QCOMPARE(ConfigFile().readPort(), 2021);
        QVERIFY(QFileInfo(m_file).isDir());
#ifndef Q_OS_WIN
        for (const bool isPipe : {true, false}) { // one blocks when it is opened, the other has no end
            init();
            const QString pipe = m_folder->filePath(u"pipe"_s);
            QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), S_IRUSR | S_IWUSR), 0);
            QVERIFY(QDir().mkpath(QFileInfo(m_file).path()));
            QVERIFY(QFile::link(isPipe ? pipe : u"/dev/zero"_s, m_file.fileName()));
            QCOMPARE(ConfigFile().readPort(), 2021);
        }
#endif
        init();
        QFile blockingFile(m_folder->filePath(u"corvane"_s)); // no folder can be created
        QVERIFY(blockingFile.open(QIODevice::WriteOnly));
        QCOMPARE(ConfigFile().readPort(), 2021);
        QCOMPARE(ConfigFile().path(), m_file.fileName());
    }

private:
    // As it is written in text mode.
    static QByteArray asText(QByteArray text)
    {
#ifdef Q_OS_WIN
        text.replace("\n", "\r\n");
#endif
        return text;
    }

    static inline const QByteArray defaultFile = asText("{\n    \"port\": 2021\n}\n");

    std::optional<DataFolder> m_folder;
    QFile m_file;
};

QTEST_GUILESS_MAIN(ConfigFileTest)
#include "configfiletest.moc"
