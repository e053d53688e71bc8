// SPDX-License-Identifier: GPL-2.0-or-later
#include "plugin/configfile.h"

#include "tests/support/datafolder.h"
#include "tests/support/table.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

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
        m_path = DataFolder::filePath(u"corvane/Wrenlink/config.json"_s);
        m_invalidPath = m_path + u".invalid"_s;
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
        QFETCH(const QByteArray, warning);
        write(before);
        ConfigFile config;
        QCOMPARE(config.path(), m_path);
        QTEST(config.readPort(), "port");
        config.close();
        QTEST(contents(m_path), "after");
        QVERIFY2(config.warning().contains(warning), config.warning().constData());
        QCOMPARE(config.warning().isEmpty(), warning.isEmpty());
        QCOMPARE(QFile::exists(m_invalidPath), warning.contains("invalid"));
        if (warning.contains("invalid")) {
            QCOMPARE(contents(m_invalidPath), before);
        }
    }

    void writesPort()
    {
        write(R"({"a":[1],"port":70000,"long":"..............."})");
        QVERIFY(ConfigFile().writePort(8080));
        QCOMPARE(QJsonDocument::fromJson(contents(m_path)).object(),
                 (QJsonObject {{u"a"_s, QJsonArray {1}}, {u"port"_s, 8080}, {u"long"_s, u"..............."_s}}));
        QCOMPARE(ConfigFile().readPort(), 8080);
    }

    void keepsTheLatestInvalidFile()
    {
        for (const QByteArray& bytes : {"{first"_ba, "{second"_ba}) {
            write(bytes);
            ConfigFile config;
            QVERIFY(config.writePort(8080));
            QVERIFY(config.warning().contains("config.json.invalid"));
            QCOMPARE(contents(m_invalidPath), bytes);
        }
        write("{third");
        QVERIFY(QFile::remove(m_invalidPath) && QDir().mkpath(m_invalidPath)); // a folder of that name
        ConfigFile config;
        QCOMPARE(config.readPort(), 2021);
        QVERIFY(config.warning().contains("could not be kept"));
    }

    void createsFileAndFolders()
    {
        QCOMPARE(ConfigFile().readPort(), 2021);
        QCOMPARE(contents(m_path), defaultFile);
    }

    void usesDefaultPortWithoutFile()
    {
        QVERIFY(QDir().mkpath(m_path)); // a folder of that name
        QCOMPARE(ConfigFile().readPort(), 2021);
        QVERIFY(QFileInfo(m_path).isDir());
        ConfigFile config;
        QVERIFY(!config.writePort(8080));
        QVERIFY(!config.errorString().isEmpty());
#ifndef Q_OS_WIN
        for (const bool isPipe : {true, false}) { // one blocks when it is opened, the other has no end
            init();
            const QString pipe = DataFolder::filePath(u"pipe"_s);
            QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), S_IRUSR | S_IWUSR), 0);
            QVERIFY(QDir().mkpath(QFileInfo(m_path).path()));
            QVERIFY(QFile::link(isPipe ? pipe : u"/dev/zero"_s, m_path));
            QCOMPARE(ConfigFile().readPort(), 2021);
        }
#endif
        init();
        QFile blockingFile(DataFolder::filePath(u"corvane"_s)); // no folder can be created
        QVERIFY(blockingFile.open(QIODevice::WriteOnly));
        QCOMPARE(ConfigFile().readPort(), 2021);
    }

private:
    void write(const QByteArray& bytes) const
    {
        QFile file(m_path);
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

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
    QString m_path;
    QString m_invalidPath;
};

QTEST_GUILESS_MAIN(ConfigFileTest)
#include "configfiletest.moc"
