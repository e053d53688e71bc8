// SPDX-License-Identifier: GPL-2.0-or-later
#include "tests/support/controller.h"
#include "tests/support/datafolder.h"
#include "tests/support/fakefrontend.h"
#include "tests/support/logcapture.h"
#include "tests/support/obsruntime.h"
#include "tests/support/table.h"

#include <QAction>
#include <QClipboard>
#include <QDialog>
#include <QGuiApplication>
#include <QHash>
#include <QHostAddress>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QSpinBox>
#include <QTcpServer>
#include <QTest>
#include <QTreeWidget>

#include <utility>

#include <util/platform.h>

using namespace Qt::StringLiterals;

// The built module file, checked and loaded by libobs as in OBS.
class ModuleTest : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase()
    {
        QVERIFY2(ObsRuntime::start(), "libobs did not start; is there a display?");
        const QString data = QFileInfo(QStringLiteral(MODULE_FILE)).path() + "/data"_L1;
        obs_module_t* module = nullptr;
        QVERIFY(os_is_obs_plugin(MODULE_FILE));
        QCOMPARE(obs_open_module(&module, MODULE_FILE, qUtf8Printable(data)), MODULE_SUCCESS);
        void* library = obs_get_module_lib(module);
        m_load = reinterpret_cast<bool (*)()>(os_dlsym(library, "obs_module_load"));
        m_unload = reinterpret_cast<void (*)()>(os_dlsym(library, "obs_module_unload"));
        const auto version = reinterpret_cast<uint32_t (*)()>(os_dlsym(library, "obs_module_ver"));
        QVERIFY(m_load && m_unload && version);
        QCOMPARE(version(), 0x1B020004U);

        QTcpServer freePort;
        QVERIFY(freePort.listen(QHostAddress(QHostAddress::LocalHost)));
        m_port = freePort.serverPort();
        QVERIFY(QDir(DataFolder::path()).mkpath(u"corvane/Wrenlink"_s));
        QFile config(m_config);
        QVERIFY(config.open(QIODevice::WriteOnly) && config.write("{\"port\":" + QByteArray::number(m_port) + '}') > 0);
    }

    void cleanupTestCase() { QCOMPARE(ObsRuntime::stop(), 0); }

    void init()
    {
        m_host = std::make_unique<FakeFrontEnd>();
        m_log = std::make_unique<LogCapture>();
        QVERIFY(m_load());
        QCOMPARE(m_host->callbacks.size(), 1U);
    }

    void cleanup()
    {
        m_unload();
        m_log.reset();
        m_host.reset();
    }

    void loadsServesAndUnloads()
    {
        m_host->perform(u"event SCENE_CHANGED"_s); // nothing of it concerns us yet
        QCOMPARE(m_log->take(), u""_s);
        m_host->perform(u"event FINISHED_LOADING, event FINISHED_LOADING"_s);
        QCOMPARE(m_log->take(), firstLines());
        Controller controller(m_port);
        QVERIFY(controller.next());
        QCOMPARE(controller.value(u"currentScene"_s), QJsonValue(u"Main"_s));
        m_host->perform(u"rename first scene New"_s);
        QCOMPARE(controller.pushesUntilAnswer(), QStringList {u"sceneList"_s});

#ifdef Q_OS_WIN
        // Arguments and lines are UTF-8, whatever the code page of Windows is.
        m_host->perform(u"program scene Größe, event SCENE_CHANGED"_s);
        QProcess kestrelctl;
        kestrelctl.start(QStringLiteral(KESTRELCTL_FILE),
                         {u"--port"_s, QString::number(m_port), u"scene"_s, u"Größe"_s});
        QTRY_COMPARE_WITH_TIMEOUT(kestrelctl.state(), QProcess::NotRunning, 30'000); // served meanwhile
        QCOMPARE(kestrelctl.readAllStandardError() + kestrelctl.readAllStandardOutput(),
                 "Größe is the program scene already\r\n"_ba);
#endif

        m_log->take();
        m_host->window->findChild<QAction*>()->trigger();
        QVERIFY(dialog());
        m_host->perform(u"event EXIT"_s);
        QCOMPARE(m_log->take(), u"Connection removed"_s);
        QVERIFY(m_host->callbacks.empty() && !dialog());
        QVERIFY(!Controller(m_port).isConnected());
        m_unload();
        QTRY_VERIFY(!controller.isConnected());
    }

    void stopsOnExitBeforeLoading()
    {
        m_host->perform(u"event EXIT"_s);
        QCOMPARE(m_log->take(), firstLines()); // came, and stopped at once
        QVERIFY(!Controller(m_port).isConnected());
    }

    void opensDialogFromToolsMenu()
    {
        m_host->perform(u"event FINISHED_LOADING"_s);
        QVERIFY(!dialog());
        auto* entry = m_host->window->findChild<QAction*>();
        QVERIFY(entry && entry->text().contains(u"KestrelBridge"_s));
        entry->trigger();
        const QPointer<QDialog> opened = dialog();
        QVERIFY(opened && opened->isVisible() && !opened->isModal());
        entry->trigger();
        QCOMPARE(m_host->window->findChildren<QDialog*>(), QList<QDialog*> {opened});
        auto* list = opened->findChild<QTreeWidget*>();
        QCOMPARE(list->topLevelItemCount(), 0);
        Controller before(m_port);
        QVERIFY(before.next());
        before.pushesUntilAnswer();
        QTRY_COMPARE(list->topLevelItemCount(), 1);
        const QTreeWidgetItem* row = list->topLevelItem(0);
        QVERIFY(row->text(0).toInt() > 0 && row->text(0).toInt() != m_port);
        QCOMPARE(row->text(2), u"1"_s); // the request
        QCOMPARE(row->text(3), u"2"_s); // the full state and the answer

        auto* portBox = opened->findChild<QSpinBox*>();
        QCOMPARE(portBox->value(), m_port);
        QCOMPARE(portBox->minimum(), 1);
        QCOMPARE(portBox->maximum(), 65353);
        QHash<QString, QPushButton*> buttons;
        for (QPushButton* button : opened->findChildren<QPushButton*>()) {
            buttons.insert(button->text(), button);
        }
        QVERIFY(buttons.contains(u"&Apply"_s) && buttons.contains(u"Cop&y Address"_s));
        buttons[u"Cop&y Address"_s]->click();
        QCOMPARE(QGuiApplication::clipboard()->text(), u"127.0.0.1:%1"_s.arg(m_port));
        QVERIFY(!buttons[u"&Apply"_s]->isEnabled()); // nothing to apply
        QTcpServer occupant;
        QVERIFY(occupant.listen(QHostAddress(QHostAddress::LocalHost)));
        const quint16 previous = std::exchange(m_port, occupant.serverPort());
        portBox->setValue(m_port);
        m_log->take();
        QTest::keyClick(portBox, Qt::Key_Return);
        const QString listening = u"Server listening on localhost, port %1"_s;
        QCOMPARE(m_log->take(),
                 u"Server failed to listen on localhost, port %1/"_s.arg(m_port) + listening.arg(previous));
        QVERIFY(Controller(previous).next()); // can connect as before
        QVERIFY(!contents(m_config).contains(QByteArray::number(m_port)));
        occupant.close();
        m_log->take();
        QTest::keyClick(portBox, Qt::Key_Return); // once more
        QCOMPARE(m_log->take(), listening.arg(m_port));
        QVERIFY(contents(m_config).contains(QByteArray::number(m_port)));
        Controller after(m_port);
        QVERIFY(after.next());
        before.pushesUntilAnswer(); // is still connected
        QTRY_COMPARE(list->topLevelItemCount(), 2);
        before.close();
        after.close();
        QTRY_COMPARE(list->topLevelItemCount(), 0);

        QTest::keyClick(opened, Qt::Key_Escape);
        QTRY_VERIFY(!opened); // and with it its timer
    }

    void showsFailureByItself()
    {
        QTcpServer occupant;
        QVERIFY(occupant.listen(QHostAddress(QHostAddress::LocalHost), m_port));
        m_host->perform(u"event FINISHED_LOADING"_s);
        QVERIFY(!dialog()); // not while OBS loads
        QTRY_VERIFY(dialog() && dialog()->isVisible());
        m_host->window.reset(); // as OBS does before it unloads its modules
    }

private:
    QDialog* dialog() const
    {
        return m_host->window->findChild<QDialog*>();
    }

    QString firstLines() const
    {
        return u"Welcome to KestrelBridge version 1.1.1! You're using OBS %1 (%2)/"
               "KestrelBridge read port config from: %3 and is starting on port %4/"
               "Server listening on localhost, port %4"_s.arg(QString::number(obs_get_version()),
                                                              QString::fromUtf8(obs_get_version_string()), m_config,
                                                              QString::number(m_port));
    }

    bool (*m_load)() = nullptr;
    void (*m_unload)() = nullptr;
    const DataFolder m_dataFolder;
    const QString m_config = DataFolder::filePath(u"corvane/Wrenlink/config.json"_s);
    quint16 m_port = 0;
    std::unique_ptr<FakeFrontEnd> m_host;
    std::unique_ptr<LogCapture> m_log;
};

QTEST_MAIN(ModuleTest)
#include "moduletest.moc"
