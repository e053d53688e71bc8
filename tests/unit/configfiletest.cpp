// SPDX-License-Identifier: GPL-2.0-or-later
#include "plugin/configfile.h"

#include "tests/support/datafolder.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
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
        m_file.setFileName(DataFolder::filePath(u"corvane/Wrenlink/config.json"_s));
    }

    void readsPort_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<int>("port");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<QByteArray>("warning"); // contains this; empty without it
        for (const char* bytes : {"", " \n", "{}"}) {
            QTest::addRow("no settings: '%s'", bytes) << QByteArray(bytes) << 2021 << defaultFile << ""_ba;
        }
        for (const char* bytes : {"{", "port=8080\r\n\xff", "[2022]"}) {
            QTest::addRow("no object: '%s'", bytes)
                << QByteArray(bytes) << 2021 << defaultFile << "config.json.invalid"_ba;
        }
        for (const char* port :
             {"0", "-1", "65354", "65535", "2021.5", "true", R"("8080")", "null", "4294969318", "1e300"}) {
            // Longer than what replaces it.
            QTest::addRow("invalid port %s", port) << "{\"port\":"_ba + port + '}' + QByteArray(100, ' ') << 2021
                                                   << defaultFile << "from 1 to 65353, not "_ba;
        }
        QTest::newRow("other keys stay") << R"({"z":1,"port":0,"a":"ä"})"_ba << 2021
                                         << asText("{\n    \"a\": \"ä\",\n    \"port\": 2021,\n    \"z\": 1\n}\n")
                                         << "from 1 to 65353, not 0"_ba;
        for (const int port : {1, 8080, 65353}) {
            const QByteArray bytes = "{ \"port\":" + QByteArray::number(port) + ",\r\n\t\"a\":1}";
            QTest::addRow("valid port %d", port) << bytes << port << bytes << ""_ba;
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
        QFETCH(const QByteArray, warning);
        QVERIFY2(config.warning().contains(warning), config.warning().constData());
        QCOMPARE(config.warning().isEmpty(), warning.isEmpty());
        QFile kept(config.path() + u".invalid"_s);
        QCOMPARE(kept.exists(), warning.contains("invalid"));
        if (kept.open(QIODevice::ReadOnly)) {
            QCOMPARE(kept.readAll(), before);
        }
    }

    void writesPort()
    {
        QCOMPARE(ConfigFile().readPort(), 2021);
        QVERIFY(m_file.open(QIODevice::WriteOnly)
                && m_file.write(R"({"a":[1],"port":70000,"long":"..............."})") > 0);
        m_file.close();
        QVERIFY(ConfigFile().writePort(8080));
        QVERIFY(m_file.open(QIODevice::ReadOnly));
        QCOMPARE(QJsonDocument::fromJson(m_file.readAll()).object(),
                 (QJsonObject {{u"a"_s, QJsonArray {1}}, {u"port"_s, 8080}, {u"long"_s, u"..............."_s}}));
        m_file.close();
        QCOMPARE(ConfigFile().readPort(), 8080);
    }

    void keepsTheLatestInvalidFile()
    {
        QCOMPARE(ConfigFile().readPort(), 2021);
        for (const QByteArray& bytes : {"{first"_ba, "{second"_ba}) {
            QVERIFY(m_file.open(QIODevice::WriteOnly | QIODevice::Truncate) && m_file.write(bytes) > 0);
            m_file.close();
            ConfigFile config;
            QVERIFY(config.writePort(8080));
            QVERIFY(config.warning().contains("config.json.invalid"));
            QFile kept(config.path() + u".invalid"_s);
            QVERIFY(kept.open(QIODevice::ReadOnly));
            QCOMPARE(kept.readAll(), bytes);
        }
        QVERIFY(m_file.open(QIODevice::WriteOnly | QIODevice::Truncate) && m_file.write("{third") > 0);
        m_file.close();
        const QString kept = m_file.fileName() + u".invalid"_s;
        QVERIFY(QFile::remove(kept) && QDir().mkpath(kept)); // a folder of that name
        ConfigFile config;
        QCOMPARE(config.readPort(), 2021);
        QVERIFY(config.warning().contains("could not be kept"));
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
        ConfigFile config;
        QVERIFY(!config.writePort(8080));
        QVERIFY(!config.errorString().isEmpty());
#ifndef Q_OS_WIN
        for (const bool isPipe : {true, false}) { // one blocks when it is opened, the other has no end
            init();
            const QString pipe = DataFolder::filePath(u"pipe"_s);
            QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), S_IRUSR | S_IWUSR), 0);
            QVERIFY(QDir().mkpath(QFileInfo(m_file).path()));
            QVERIFY(QFile::link(isPipe ? pipe : u"/dev/zero"_s, m_file.fileName()));
            QCOMPARE(ConfigFile().readPort(), 2021);
        }
#endif
        init();
        QFile blockingFile(DataFolder::filePath(u"corvane"_s)); // no folder can be created
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
