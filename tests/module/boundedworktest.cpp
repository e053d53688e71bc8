// SPDX-License-Identifier: GPL-2.0-or-later
#include "support/slicedtask.h"
#include "tests/support/protocolfixture.h"

#include <QJsonDocument>

#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Requests and changes that cost more than one turn of the event loop, and controllers that do not read.
class BoundedWorkTest : public ProtocolFixture
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
        for (int turn = 0; turn <= 3; ++turn) {
            QCOMPARE(runs, turn);
            QVERIFY(!task.begin()); // what is outstanding goes first
            QCoreApplication::processEvents();
        }
        QTRY_VERIFY(task.begin()); // nothing is outstanding any more

        // It may end in its own work.
        std::unique_ptr<SlicedTask> ending = std::make_unique<SlicedTask>([&ending] { ending.reset(); });
        ending->schedule();
        QTRY_VERIFY(!ending);
    }

    void servesOthersBetweenTheEntriesOfARequest()
    {
        addItems(300, 100);
        const auto asker = connectLongFrameController();
        constexpr int pairs = 400;
        QJsonArray entries;
        for (int i = 0; i < pairs; ++i) {
            entries.append(setEntry(u"triggerTransition"_s, 1)); // makes the next list be read anew
            entries.append(getEntry(u"sceneList"_s));
        }
        asker->send({{"values"_L1, entries}}, true);
        asker->sendEntries({getEntry(u"streaming"_s)}); // handled after all of the first
        int answersToOther = 0;
        QStringList received;
        while (!received.endsWith(u"streaming"_s)) {
            answersToOther += m_controller->pushesUntilAnswer().isEmpty();
            while (asker->hasMessage()) {
                received += Controller::namesIn(*asker->next());
            }
        }
        QVERIFY2(answersToOther > 3, "the other controller had to wait for the whole request");
        QCOMPARE(received, QStringList(pairs, u"sceneList"_s) << u"streaming"_s);
    }

    void answersAsFastAsTheControllerReads()
    {
        addItems(50, 2000);
        for (const bool isSendingShutDown : {false, true}) {
            const auto asker = connectLongFrameController();
            const NetworkConnection* connection = m_server->connections().constLast();
            asker->setReading(false);
            const QVariantList lists(100, getEntry(u"sceneList"_s)); // in bytes, several times what may ever be unsent
            asker->send({{"values"_L1, QJsonArray::fromVariantList(lists)}}, true);
            if (isSendingShutDown) {
                asker->shutDownSending();
            }
            QTest::qWait(100); // the system's buffers fill
            for (int i = 0; i < (isSendingShutDown ? 0 : 20); ++i) {
                obs_sceneitem_set_visible(host().items[0], i % 2 != 0);
                QCoreApplication::processEvents();
            }
            QVERIFY2(connection->unsent_bytes() <= 900'000, qPrintable(QString::number(connection->unsent_bytes())));
            asker->setReading(true);
            QStringList received;
            while (received.count(u"sceneList"_s) < (isSendingShutDown ? 100 : 101)) { // with the newest of the pushes
                received += Controller::namesIn(asker->next().value_or(QJsonObject()));
                QVERIFY(received.constLast() == "sceneList"_L1 || received.constLast() == "sourceVisibles"_L1);
            }
            QTRY_COMPARE(asker->isConnected(), !isSendingShutDown);
        }
    }

    void handlesNothingAfterExit()
    {
        for (const bool isOneRequest : {true, false}) {
            init();
            host().dialog = [] { std::this_thread::sleep_for(4ms); }; // a slice is over after a few entries
            const QJsonObject set = setEntry(u"streaming"_s, 1);
            for (int i = 0; i < 100; ++i) {
                m_controller->sendEntries(isOneRequest ? QJsonArray::fromVariantList(QVariantList(100, set))
                                                       : QJsonArray {set});
            }
            QVERIFY(turnUntil([this] { return !host().commands.isEmpty(); }));
            host().raise(OBS_FRONTEND_EVENT_EXIT);
            m_server->stop();
            const qsizetype handled = host().commands.size();
            QVERIFY(handled < 100);
            QVERIFY(turnUntil([&] { return !m_controller->isConnected(); }));
            QCOMPARE(host().commands.size(), handled);
        }
    }

    void sendsTheNewestValuesToASlowReader()
    {
        addItems(50, 2000);
        const auto slow = connectLongFrameController();
        const NetworkConnection* connection = m_server->connections().constLast();
        connection->findChild<QAbstractSocket*>()->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, 16'384);
        const auto writer = connectController(); // sets and never reads
        const auto fast = connectLongFrameController();
        slow->setReading(false);
        writer->setReading(false);
        constexpr int changes = 250; // in bytes, more than the limit that ends a connection
        for (int i = 0; i < changes; ++i) {
            obs_sceneitem_set_visible(host().items[0], i % 2 != 0);
            QCOMPARE(fast->pushesUntilAnswer(), (QStringList {u"sceneList"_s, u"sourceVisibles"_s}));
        }
        QVERIFY2(connection->unsent_bytes() <= 400'000, qPrintable(QString::number(connection->unsent_bytes())));
        writer->set(u"sourceVisibles"_s, 5);
        QTRY_COMPARE(fast->read(u"sourceVisibles"_s), QJsonValue(5));

        slow->setReading(true);
        // When so little is unsent that pushes are sent again, a further change still waits behind the missed ones.
#ifndef Q_OS_WIN // which takes all at once
        QVERIFY(turnUntil([connection] { return connection->unsent_bytes() <= 262'144; }));
#endif
        QVERIFY(connection->unsent_bytes() > 0);
        obs_sceneitem_set_locked(host().items[1], true);
        host().raise(OBS_FRONTEND_EVENT_PROFILE_CHANGED); // after what is pending
        // What was unsent, then, once that has been read, the newest values.
        QStringList received = slow->pushesUntilAnswer();
        received += slow->pushesUntilAnswer();
        QVERIFY2(received.size() < changes * 3 / 2, "every value was queued");            // two for each change
        QCOMPARE(received.last(3).join(u' '), u"sourceVisibles sceneList sourceLocks"_s); // by their latest change
        for (const QString& name : {u"sourceVisibles"_s, u"sourceLocks"_s, u"sceneList"_s}) {
            QCOMPARE(slow->value(name), fast->read(name));
        }
        QVERIFY(writer->isConnected());
        obs_sceneitem_set_visible(host().items[1], true); // from then on each change as usual
        QCOMPARE(slow->pushesUntilAnswer(), (QStringList {u"sceneList"_s, u"sourceVisibles"_s}));
    }

    void pushesTheLastStateOfAFlood()
    {
        std::thread([this] {
            for (int i = 0; i < 10'000; ++i) {
                obs_sceneitem_set_visible(host().items[0], i % 2 != 0);
                obs_sceneitem_set_locked(host().items[1], i % 2 == 0);
            }
            obs_sceneitem_remove(host().items[2]);
        }).join();
        QVERIFY2(m_controller->pushesUntilAnswer().size() < 100, "every change was kept");
        const QJsonValue items = m_controller->value(u"sceneList"_s)[0]["sourceList"_L1];
        QCOMPARE(items.toArray().size(), 2);
        QCOMPARE(items[0]["isVisible"_L1], QJsonValue(true));
        QCOMPARE(m_controller->value(u"sourceVisibles"_s).toInt() & 3, 3);
        QCOMPARE(m_controller->value(u"sourceLocks"_s), QJsonValue(0));

        // And of hundreds of items that one mask changes.
        host().items.pop_back();
        addItems(600, 10);
        m_controller = connectLongFrameController();
        m_controller->set(u"sourceVisibles"_s, 0);
        QVERIFY2(m_controller->pushesUntilAnswer().size() < 600, "each of hundreds of items was pushed");
        const QJsonArray list = m_controller->read(u"sceneList"_s).toArray();
        QCOMPARE(QJsonDocument(list).toJson().count("\"isVisible\": false"), host().items.size());
    }
};

QTEST_MAIN(BoundedWorkTest)
#include "boundedworktest.moc"
