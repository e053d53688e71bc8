// SPDX-License-Identifier: GPL-2.0-or-later
#include "support/slicedtask.h"
#include "tests/support/protocolfixture.h"

#include <QOperatingSystemVersion>

#include <numeric>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Requests and changes that cost more than one turn of the event loop, and controllers that do not read.
class BoundedWorkTest : public ProtocolFixtureTest
{
    Q_OBJECT

private slots:

    void runsInSlices()
    {
        // Long work takes turns with everything else, and only one run is ever outstanding.
        int runs = 0;
        SlicedTask task([&] {
            if (++runs <= 3) {
                QVERIFY(task.begin());
                while (!task.isSliceOver()) {}
                task.schedule();
                task.schedule();
            }
        });
        task.schedule();
        QVERIFY(!task.begin()); // what is outstanding goes first
        QCOMPARE(runs, 0);
        for (int turn = 1; turn <= 20; ++turn) {
            QCoreApplication::processEvents();
            QVERIFY(turn > 3 || runs == turn);
        }
        QVERIFY2(runs < 10, "it wakes the event loop without work");
    }

    void endsInItsOwnWork()
    {
        std::unique_ptr<SlicedTask> task;
        task = std::make_unique<SlicedTask>([&task] { task.reset(); });
        task->schedule();
        QTRY_VERIFY(!task);
    }

    void servesOthersBetweenTheEntriesOfARequest()
    {
        m_fixture->addItems(300, 100);
        const auto asker = m_fixture->longFrameController();
        const auto other = m_fixture->controller();
        // Each set makes the next list be read anew.
        constexpr int pairs = 400;
        QJsonArray entries;
        for (int i = 0; i < pairs; ++i) {
            entries.append(QJsonObject {{"type"_L1, "set"_L1}, {"name"_L1, "triggerTransition"_L1}, {"value"_L1, 1}});
            entries.append(QJsonObject {{"name"_L1, "sceneList"_L1}});
        }
        entries.append(QJsonObject {{"name"_L1, "fps"_L1}});
        asker->send({{"values"_L1, entries}}, true);
        asker->sendEntries({QJsonObject {{"name"_L1, "streaming"_L1}}}); // handled after all of the first
        int answersToOther = 0;
        QStringList received;
        while (!received.endsWith(u"streaming"_s)) {
            answersToOther += other->pushesUntilAnswer().isEmpty();
            while (asker->hasMessage()) {
                received += Controller::namesIn(*asker->next());
            }
        }
        QVERIFY2(answersToOther > 3, "the other controller had to wait for the whole request");
        QCOMPARE(received.size(), pairs + 2);
        QCOMPARE(received.count(u"sceneList"_s), pairs);
    }

    void answersAsFastAsTheControllerReads()
    {
        m_fixture->addItems(50, 2000);
        for (const bool isSendingShutDown : {false, true}) {
            const auto asker = m_fixture->longFrameController();
            asker->setReading(false);
            asker->send({{"values"_L1, lists(100)}}, true); // several times what may ever be unsent
            if (isSendingShutDown) {
                asker->shutDownSending();
            }
            QTest::qWait(100); // the system's buffers fill
            asker->setReading(true);
            for (int i = 0; i < 100; ++i) {
                QCOMPARE(Controller::namesIn(asker->next().value_or(QJsonObject())), u"sceneList"_s);
            }
            QTRY_COMPARE(asker->isConnected(), !isSendingShutDown);
        }
    }

    void handlesNothingAfterExit()
    {
        for (const bool isOneRequest : {true, false}) {
            init();
            m_fixture->host.dialog = [] { std::this_thread::sleep_for(4ms); }; // a slice is over after a few entries
            const auto controller = m_fixture->controller();
            const QJsonObject set {{"type"_L1, "set"_L1}, {"name"_L1, "streaming"_L1}, {"value"_L1, 1}};
            for (int i = 0; i < 100; ++i) {
                controller->sendEntries(isOneRequest ? QJsonArray::fromVariantList(QVariantList(100, set))
                                                     : QJsonArray {set});
            }
            QVERIFY(turnUntil([this] { return !m_fixture->host.commands.isEmpty(); }));
            m_fixture->host.raise(OBS_FRONTEND_EVENT_EXIT);
            m_fixture->server->stop();
            const qsizetype handled = m_fixture->host.commands.size();
            QVERIFY(handled < 100);
            QVERIFY(turnUntil([&] { return !controller->isConnected(); }));
            QCOMPARE(m_fixture->host.commands.size(), handled);
        }
    }

    void sendsTheNewestValuesToASlowReader()
    {
        m_fixture->addItems(50, 2000);
        const auto slow = m_fixture->longFrameController();
        const NetworkConnection* connection = m_fixture->server->connections().constFirst();
        connection->findChild<QAbstractSocket*>()->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 16'384);
        const auto writer = m_fixture->controller(); // sets and never reads
        const auto fast = m_fixture->longFrameController();
        slow->setReading(false);
        writer->setReading(false);
        constexpr int changes = 250; // in bytes, more than the limit that ends a connection
        for (int i = 0; i < changes; ++i) {
            obs_sceneitem_set_visible(m_fixture->host.items[0], i % 2 != 0);
            QCOMPARE(fast->pushesUntilAnswer(), (QStringList {u"sceneList"_s, u"sourceVisibles"_s}));
        }
        writer->set(u"sourceVisibles"_s, 5);
        QTRY_COMPARE(fast->read(u"sourceVisibles"_s), QJsonValue(5));

        slow->setReading(true);
        // When so little is unsent that pushes are sent again, a further change still waits behind the missed ones.
        if (QOperatingSystemVersion::currentType() != QOperatingSystemVersion::Windows) { // which takes all at once
            QVERIFY(turnUntil([connection] { return connection->unsent_bytes() <= 262'144; }));
        }
        QVERIFY(connection->unsent_bytes() > 0);
        obs_sceneitem_set_locked(m_fixture->host.items[1], true);
        m_fixture->host.raise(OBS_FRONTEND_EVENT_PROFILE_CHANGED); // after what is pending
        // What was unsent, then, once that has been read, the newest values.
        QStringList received = slow->pushesUntilAnswer();
        received += slow->pushesUntilAnswer();
        QVERIFY2(received.size() < changes * 3 / 2, "every value was queued");            // two for each change
        QCOMPARE(received.last(3).join(u' '), u"sourceVisibles sceneList sourceLocks"_s); // by their latest change
        for (const QString& name : {u"sourceVisibles"_s, u"sourceLocks"_s, u"sceneList"_s}) {
            QCOMPARE(slow->value(name), fast->read(name));
        }
        QVERIFY(writer->isConnected());
        obs_sceneitem_set_visible(m_fixture->host.items[1], true); // from then on each change as usual
        QCOMPARE(slow->pushesUntilAnswer(), (QStringList {u"sceneList"_s, u"sourceVisibles"_s}));
    }

    void pushesTheLastStateOfAFlood()
    {
        const auto controller = m_fixture->controller();
        std::thread worker([this] {
            for (int i = 0; i < 10'000; ++i) {
                obs_sceneitem_set_visible(m_fixture->host.items[0], i % 2 != 0);
                obs_sceneitem_set_locked(m_fixture->host.items[1], i % 2 == 0);
            }
            obs_sceneitem_remove(m_fixture->host.items[2]);
        });
        worker.join();
        const QStringList received = controller->pushesUntilAnswer();
        QVERIFY2(received.size() < 100, "every change was kept");
        const QJsonValue items = controller->value(u"sceneList"_s)[0]["sourceList"_L1];
        QCOMPARE(items.toArray().size(), 2);
        QCOMPARE(items[0]["isVisible"_L1], QJsonValue(true));
        QCOMPARE(controller->value(u"sourceVisibles"_s).toInt() & 3, 3);
        QCOMPARE(controller->value(u"sourceLocks"_s), QJsonValue(0));
        m_fixture->host.items.pop_back();
    }

    void boundsTheChangesOfOneMask()
    {
        m_fixture->addItems(600, 10);
        const auto controller = m_fixture->longFrameController();
        controller->set(u"sourceVisibles"_s, 0);
        const qsizetype pushes = controller->pushesUntilAnswer().size();
        QVERIFY(pushes >= 2);
        QVERIFY2(pushes < 600, "each of hundreds of items was pushed");
        QCOMPARE(controller->read(u"sourceVisibles"_s), QJsonValue(0));
        for (const QJsonValue item : controller->read(u"sceneList"_s)[0]["sourceList"_L1].toArray()) {
            QVERIFY(!item["isVisible"_L1].toBool());
        }
    }

    void reportsARefusedWriteOnce()
    {
        // A controller has gone while its request runs a dialog, and changes go on.
        const auto controller = m_fixture->controller();
        const auto other = m_fixture->controller();
        connect(m_fixture->server.get(), &NetworkServer::connectionRemoved, this, [this] {
            for (int i = 0; i < 100; ++i) {
                obs_sceneitem_set_visible(m_fixture->host.items[0], i % 2 != 0);
                QCoreApplication::processEvents();
            }
        });
        controller->close();
        QString logged;
        QTRY_VERIFY((logged += m_fixture->log.take()).contains("Deleting dead connection"_L1));
        QCOMPARE(logged.count("NetworkConnection::write failed, disconnecting"_L1), 1);
    }

#ifndef Q_OS_WIN // whose clock cannot be stopped
    void boundsTheMemoryOfControllersThatDoNotRead()
    {
        const FrozenClock clock; // otherwise they are disconnected after a while
        m_fixture->addItems(50, 2000);
        std::vector<std::unique_ptr<Controller>> controllers;
        while (controllers.size() < 60) {
            controllers.push_back(m_fixture->longFrameController());
            controllers.back()->setReading(false);
            controllers.back()->send({{"values"_L1, lists(100)}}, true);
        }
        const auto unsent_bytes = [this] {
            const auto connections = m_fixture->server->connections();
            return std::accumulate(connections.begin(), connections.end(), qint64 {0},
                                   [](qint64 sum, const auto* connection) { return sum + connection->unsent_bytes(); });
        };
        for (int i = 0; i < 20; ++i) {
            obs_sceneitem_set_visible(m_fixture->host.items[0], i % 2 != 0);
            QCoreApplication::processEvents();
        }
        constexpr qint64 megabyte = 1'048'576;
        QVERIFY2(unsent_bytes() > 30 * megabyte && unsent_bytes() <= 64 * megabyte,
                 qPrintable(QString::number(unsent_bytes())));
    }
#endif

private:
    static QJsonArray lists(int count)
    {
        return QJsonArray::fromVariantList(QVariantList(count, QJsonObject {{"name"_L1, "sceneList"_L1}}));
    }
};

QTEST_MAIN(BoundedWorkTest)
#include "boundedworktest.moc"
