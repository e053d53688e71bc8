// SPDX-License-Identifier: GPL-2.0-or-later
#include "tests/support/controller.h"
#include "tests/support/datafolder.h"
#include "tests/support/fakefrontend.h"
#include "tests/support/obsruntime.h"

#include <QHostAddress>
#include <QProcess>
#include <QTcpServer>
#include <QTest>

#include <util/platform.h>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

using namespace Qt::StringLiterals;

// The module file in a user's folder of plug-ins, found and loaded by libobs.
class LoaderTest : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY2(ObsRuntime::start(), "libobs did not start; is there a display?"); }

    void runsWhereLibobsFindsIt()
    {
        const QTemporaryDir plugins(QDir::temp().filePath(u"Größe"_s));
        const QString folder = plugins.filePath(u"kestrelbridge/bin/64bit"_s);
        QVERIFY(QDir().mkpath(folder));
        const QString file = QStringLiteral(MODULE_FILE);
        QVERIFY(QFile::copy(file, folder + u'/' + QFileInfo(file).fileName()));
        obs_add_module_path(qUtf8Printable(plugins.filePath(u"%module%/bin/64bit"_s)),
                            qUtf8Printable(plugins.filePath(u"%module%/data"_s)));

        auto host = std::make_unique<FakeFrontEnd>();
        int loaded = 0;
        obs_find_modules(
            [](void* count, const obs_module_info* info) {
                obs_module_t* module = nullptr;
                if (QString::fromUtf8(info->bin_path).contains("kestrelbridge"_L1) && os_is_obs_plugin(info->bin_path)
                    && obs_open_module(&module, info->bin_path, info->data_path) == MODULE_SUCCESS
                    && obs_init_module(module)) {
                    ++*static_cast<int*>(count);
                }
            },
            &loaded);
        QCOMPARE(loaded, 1);
        QVERIFY(obs_get_module("kestrelbridge"));

        const quint16 port = configureFreePort();
        host->raise(OBS_FRONTEND_EVENT_FINISHED_LOADING);
        Controller controller(port);
        QVERIFY(controller.next());
        controller.set(u"currentScene"_s, u"Größe"_s);
        controller.pushesUntilAnswer();
        QCOMPARE(host->commands, QStringList {u"scene Größe"_s});
        host->raise(OBS_FRONTEND_EVENT_SCENE_CHANGED);
        QCOMPARE(controller.read(u"currentScene"_s), QJsonValue(u"Größe"_s));

#ifdef Q_OS_WIN
        // Arguments come and lines go in UTF-8, whatever the code page of Windows is.
        QCOMPARE(kestrelctl({u"--port"_s, QString::number(port), u"scene"_s, u"Main"_s}), u""_s);
        QCOMPARE(kestrelctl({u"--port"_s, QString::number(port), u"scene"_s, u"Größe"_s}), u""_s);
        QCOMPARE(host->commands, (QStringList {u"scene Größe"_s, u"scene Main"_s, u"scene Größe"_s}));
        QCOMPARE(kestrelctl({u"--port"_s, QString::number(port), u"get"_s, u"currentScene"_s}), u"Größe\r\n"_s);
#endif

        host->raise(OBS_FRONTEND_EVENT_EXIT);
        host.reset();
        QCOMPARE(ObsRuntime::stop(), 0); // unloads the module
        QTRY_VERIFY(!controller.isConnected());
        QVERIFY(!Controller(port).isConnected());
    }

#ifdef Q_OS_WIN
    void hasVersionRecord_data()
    {
        QTest::addColumn<QString>("value");
        QTest::newRow("ProductName") << u"kestrelbridge"_s;
        QTest::newRow("InternalName") << u"kestrelbridge.dll"_s;
        QTest::newRow("FileVersion") << QStringLiteral(KESTREL_VERSION);
        QTest::newRow("ProductVersion") << QStringLiteral(KESTREL_VERSION);
    }

    void hasVersionRecord()
    {
        const std::wstring file = QStringLiteral(MODULE_FILE).toStdWString();
        QByteArray record(GetFileVersionInfoSizeW(file.c_str(), nullptr), '\0');
        QVERIFY(GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(record.size()), record.data()));
        const std::wstring name = uR"(\StringFileInfo\040904B0\)"_s.toStdWString()
            + QString::fromLatin1(QTest::currentDataTag()).toStdWString();
        void* value = nullptr;
        UINT length = 0;
        QVERIFY(VerQueryValueW(record.constData(), name.c_str(), &value, &length));
        QTEST(QString::fromWCharArray(static_cast<const wchar_t*>(value)), "value");

        QVERIFY(VerQueryValueW(record.constData(), L"\\", &value, &length));
        const auto* numbers = static_cast<const VS_FIXEDFILEINFO*>(value);
        const QString version = u"%1.%2.%3.%4"_s.arg(HIWORD(numbers->dwFileVersionMS))
                                    .arg(LOWORD(numbers->dwFileVersionMS))
                                    .arg(HIWORD(numbers->dwFileVersionLS))
                                    .arg(LOWORD(numbers->dwFileVersionLS));
        QCOMPARE(version, QStringLiteral(KESTREL_VERSION) + ".0"_L1);
        QCOMPARE(numbers->dwProductVersionMS, numbers->dwFileVersionMS);
        QCOMPARE(numbers->dwProductVersionLS, numbers->dwFileVersionLS);
    }
#endif

private:
#ifdef Q_OS_WIN
    // What it prints. The module serves it meanwhile.
    static QString kestrelctl(const QStringList& arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(KESTRELCTL_FILE), arguments);
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 30'000)) {
            process.kill();
        }
        return QString::fromUtf8(process.readAllStandardOutput());
    }
#endif

    quint16 configureFreePort() const
    {
        QTcpServer freePort;
        QFile config(DataFolder::filePath(u"corvane/Wrenlink/config.json"_s));
        if (!freePort.listen(QHostAddress(QHostAddress::LocalHost)) || !QDir().mkpath(QFileInfo(config).path())
            || !config.open(QIODevice::WriteOnly)) {
            qFatal("no free port, or no configuration file");
        }
        config.write("{\"port\":" + QByteArray::number(freePort.serverPort()) + '}');
        return freePort.serverPort();
    }

    DataFolder m_dataFolder;
};

QTEST_MAIN(LoaderTest)
#include "loadertest.moc"
