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

    void readsPort_data() { addTable(QFINDTESTDATA("configfiles.txt"), {"port", "warning"}); }

    void readsPort()
    {
        QFETCH(const QString, warning);
        QByteArray before = QTest::currentDataTag();
        before.replace("\\r", "\r").replace("\\n", "\n").append(100, ' '); // longer than what replaces it
        write(before);
        ConfigFile config;
        QCOMPARE(config.path(), m_path);
        const int port = config.readPort();
        config.close();
        QTEST(QString::number(port), "port");
        QCOMPARE(contents(m_path), port == ConfigFile::defaultPort ? defaultFile : before);
        QVERIFY2(config.warning().contains(warning.toUtf8()), config.warning().constData());
        QCOMPARE(config.warning().isEmpty(), warning.isEmpty());
        QCOMPARE(QFile::exists(m_invalidPath), warning.contains("invalid"_L1));
    }

    void keepsOtherKeys()
    {
        write(R"({"a":[1],"port":70000,"long":"..............."})");
        QJsonObject settings {{"a"_L1, QJsonArray {1}}, {"port"_L1, 2021}, {"long"_L1, "..............."_L1}};
        QCOMPARE(ConfigFile().readPort(), 2021);
        QCOMPARE(QJsonDocument::fromJson(contents(m_path)).object(), settings);
        settings["port"_L1] = 8080;
        QVERIFY(ConfigFile().writePort(8080));
        QCOMPARE(QJsonDocument::fromJson(contents(m_path)).object(), settings);
    }

    void keepsTheLatestInvalidFile()
    {
        for (const QByteArray& bytes : {"{first\r\n\xff"_ba, "{second"_ba}) {
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

    void usesDefaultPortWithoutFile()
    {
        QCOMPARE(ConfigFile().readPort(), 2021);
        QCOMPARE(contents(m_path), defaultFile); // created, with its folders
        init();
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

#ifdef Q_OS_WIN // where the file is written in text mode
    static inline const QByteArray defaultFile = "{\r\n    \"port\": 2021\r\n}\r\n";
#else
    static inline const QByteArray defaultFile = "{\n    \"port\": 2021\n}\n";
#endif

    std::optional<DataFolder> m_folder;
    QString m_path;
    QString m_invalidPath;
};

QTEST_GUILESS_MAIN(ConfigFileTest)
#include "configfiletest.moc"
