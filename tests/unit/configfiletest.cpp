// SPDX-License-Identifier: GPL-2.0-or-later
#include "plugin/configfile.h"

#include "tests/support/datafolder.h"
#include "tests/support/table.h"

#include <QDir>
#include <QJsonDocument>

#include <functional>
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
        QCOMPARE(ConfigFile().readPort(), 2021);
        QVERIFY(ConfigFile().writePort(8080));
        QCOMPARE(QJsonDocument::fromJson(contents(m_path)),
                 QJsonDocument::fromJson(R"({"a":[1],"port":8080,"long":"..............."})"));
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

        const std::function<bool()> obstacles[] {
            [this] { return QDir().mkpath(m_path); },
            [] { return QFile(DataFolder::filePath(u"corvane"_s)).open(QIODevice::WriteOnly); },
#ifndef Q_OS_WIN // a device without an end, and a pipe that blocks when it is opened
            [this] { return makeFolder() && QFile::link(u"/dev/zero"_s, m_path); },
            [this] { return makeFolder() && mkfifo(QFile::encodeName(m_path).constData(), S_IRUSR | S_IWUSR) == 0; },
#endif
        };
        for (const auto& create : obstacles) {
            init();
            QVERIFY(create());
            QCOMPARE(ConfigFile().readPort(), 2021);
            ConfigFile config;
            QVERIFY(!config.writePort(8080));
            QVERIFY(!config.errorString().isEmpty());
        }
    }

private:
    void write(const QByteArray& bytes) const
    {
        QFile file(m_path);
        QVERIFY(makeFolder() && file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    bool makeFolder() const
    {
        return QDir().mkpath(QFileInfo(m_path).path());
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
