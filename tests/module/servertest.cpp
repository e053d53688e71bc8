// SPDX-License-Identifier: GPL-2.0-or-later
#include "network/networkserver.h"
#include "support/log.h"
#include "tests/support/controller.h"
#include "tests/support/frozenclock.h"
#include "tests/support/logcapture.h"

#include <QAbstractEventDispatcher>
#include <QHostAddress>
#include <QPointer>
#include <QScopeGuard>
#include <QTest>

#include <functional>

#ifndef Q_OS_WIN
#include <sys/resource.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Ending = std::function<void(std::unique_ptr<NetworkServer>&, Controller&)>;

// Server and connections on real loopback sockets.
class ServerTest : public QObject
{
    Q_OBJECT

private slots:

    void init()
    {
        m_server = std::make_unique<NetworkServer>(nullptr);
        m_connections.clear();
        connect(m_server.get(), &NetworkServer::connectionAdded, this, [this](auto* connection) {
            logInfo("announced"); // before the server's own line
            m_connections.append(connection);
        });
        m_server->start(0);
        m_log.take();
    }

    void relaysRequestsAndWritesAnswers()
    {
        const auto first = connectController();
        const auto second = connectController();
        QCOMPARE(m_log.take(), u"announced/Added new connection/announced/Added new connection"_s);
        connect(m_server.get(), &NetworkServer::receivedJson, this, [this](QJsonObject json, auto* connection) {
            json["from"_L1] = m_connections.indexOf(connection);
            QVERIFY(m_server->write(connection, json));
        });
        second->sendBytes(R"(0008{"n":22}0008{"n":33})");
        first->send({{"n"_L1, 11}});
        QCOMPARE(second->next(), (QJsonObject {{"n"_L1, 22}, {"from"_L1, 1}}));
        QCOMPARE(second->next(), (QJsonObject {{"n"_L1, 33}, {"from"_L1, 1}}));
        QCOMPARE(first->next(), (QJsonObject {{"n"_L1, 11}, {"from"_L1, 0}}));
        QCOMPARE(m_server->serverAddress(), QHostAddress(QHostAddress::LocalHost));
        // Otherwise an answer can wait for the acknowledgement of the one before.
        auto* socket = m_connections.at(0)->findChild<QAbstractSocket*>();
        QCOMPARE(socket->socketOption(QAbstractSocket::LowDelayOption), 1);
        emit socket->readyRead(); // without bytes, which is not the end of the stream
        QVERIFY(m_server->writeAll(QJsonObject {{"all"_L1, true}}));
        QCOMPARE(first->next(), (QJsonObject {{"all"_L1, true}}));
        QCOMPARE(second->next(), (QJsonObject {{"all"_L1, true}}));
        QCOMPARE(m_log.take(), u""_s);
    }

    void keepsOrderForSlowReader()
    {
        const auto controller = connectController();
        constexpr int messages = 2000;
        const QString filling(5000, u'x'); // in all more than the system keeps, and fewer than ends the connection
        for (int i = 0; i < messages; ++i) {
            m_server->writeAll({{"number"_L1, i}, {"filling"_L1, filling}});
            if (i % 3 == 0) {
                m_server->flush();
            }
            if (i >= messages - 200 && i % 10 == 0) {
                controller->readAvailable(); // the system takes some more, which must not pass what is queued
            }
        }
        for (int i = 0; i < messages; ++i) {
            QCOMPARE(controller->next().value_or(QJsonObject()).value("number"_L1).toInt(-1), i);
        }
    }

    void endsConnection_data()
    {
        // What happens once the socket has reported its end, and what a handler writes to it then.
        const auto reported
            = u"Connection removed/handled/NetworkConnection::write failed, disconnecting/Deleting dead "
              "connection"_s;
        const auto failed = u"/NetworkConnection::readData failed/"_s + reported;
        QTest::addColumn<Ending>("ending");
        QTest::addColumn<QString>("logged");
        QTest::newRow("peer closes") << Ending([](auto&, auto& peer) { peer.close(); }) << reported;
        QTest::newRow("not a number") << Ending([](auto&, auto& peer) { peer.sendBytes("abcd"); })
                                      << "Malformed expectant bytes: abcd\n"_L1 + failed;
        QTest::newRow("not an object") << Ending([](auto&, auto& peer) { peer.sendBytes("0002[]0002{}"); })
                                       << "Malformed json: []"_L1 + failed;
        QTest::newRow("server stops") << Ending([](auto& server, auto& peer) {
            server->writeAll("{}");
            server->stop();
            QVERIFY(peer.next()); // what was written before
        }) << reported;
        QTest::newRow("peer does not read") << Ending([this](auto& server, auto& peer) {
            peer.setReading(false); // otherwise all may be sent before the connection is deleted
            constexpr qint64 limit = 16'777'216;
            const QByteArray body(9008, ' ');
            for (qint64 sent = 0; sent <= 4 * limit; sent += 9012) { // the system takes some megabytes of it
                QVERIFY(sent > limit || m_log.take().isEmpty());
                server->writeAll(body);
            }
        }) << u"NetworkConnection::write failed, disconnecting/Deleting dead connection"_s;
    }

    void endsConnection()
    {
        QFETCH(const Ending, ending);
        const auto controller = connectController();
        int received = 0;
        connect(m_server.get(), &NetworkServer::receivedJson, this, [&received] { ++received; });
        connect(m_server.get(), &NetworkServer::connectionRemoved, this, [this](const auto* connection) {
            QCOMPARE(connection, m_connections.constFirst().get());
            logInfo("handled");
            // Refused, and logged once: the dead connection is still there.
            QVERIFY(m_server->writeAll(QJsonObject()) && m_server->writeAll(QJsonObject()));
            QVERIFY(m_server->connections().isEmpty()); // but listed no more
        });
        m_log.take();
        ending(m_server, *controller);
        QTRY_VERIFY(!m_connections.constFirst());
        QTEST(m_log.take(), "logged");
        QCOMPARE(received, 0);
        controller->setReading(true);
        QTRY_VERIFY(!controller->isConnected());
    }

    void survivesNestedEventLoop_data()
    {
        QTest::addColumn<Ending>("ending");
        QTest::newRow("peer stays") << Ending([](auto& server, auto& peer) {
            server->writeAll("{}");
            QVERIFY(peer.next());
        });
        QTest::newRow("peer closes") << Ending([](auto&, auto& peer) { peer.close(); });
        QTest::newRow("peer keeps sending") << Ending([](auto&, auto& peer) {
            peer.sendBytes(QByteArray(67'108'864, ' ')); // of which the system itself takes some megabytes
            QVERIFY(!QTest::qWaitFor([&] { return peer.unsent_bytes() < 33'554'432; }, 500));
        });
        QTest::newRow("peer does not read, then closes") << Ending([this](auto& server, auto& peer) {
            for (int i = 0; i < 8000; ++i) {
                server->writeAll(QByteArray(9000, ' '));
            }
            server->idle(); // finds it dead
            peer.close();
        });
        QTest::newRow("server stops") << Ending([](auto& server, auto&) { server->stop(); });
        QTest::newRow("nothing, at the end") << Ending([](auto&, auto&) {});
        for (const char* name : {"server is destroyed", "server is destroyed, at the end"}) {
            QTest::newRow(name) << Ending([](auto& server, auto&) { server.reset(); });
        }
    }

    void survivesNestedEventLoop()
    {
        QFETCH(const Ending, ending);
        const bool isAtTheEnd = QByteArrayView(QTest::currentDataTag()).endsWith("at the end"); // of the connection
        const auto controller = connectController();
        const auto bystander = connectController();
        int handled = 0;
        const auto handle = [&](const NetworkConnection* connection) {
            if (connection != m_connections.at(0) || ++handled > 1) {
                return;
            }
            // As in a modal dialog of the host: the peer sends more, it and another end, and idle passes run.
            if (!isAtTheEnd) {
                controller->send({});
            }
            ending(m_server, *controller);
            bystander->close();
            QTRY_VERIFY(!m_connections.at(1)); // idle passes delete others only
            QCOMPARE(m_connections.at(0).get(), connection);
            QCOMPARE(handled, 1);
        };
        if (isAtTheEnd) {
            connect(m_server.get(), &NetworkServer::connectionRemoved, this, handle);
            controller->sendBytes(QByteArray("0002{}").repeated(100'000)); // more than is handled at once
            controller->close();
        } else {
            connect(m_server.get(), &NetworkServer::receivedJson, this,
                    [&](const auto&, const auto* connection) { handle(connection); });
            controller->send({});
        }
        if (QByteArrayView(QTest::currentDataTag()) == "peer stays") {
            QTRY_COMPARE(handled, 2); // without any further byte
            QVERIFY(controller->isConnected());
        } else {
            QTRY_VERIFY(handled > 0 && !m_connections.at(0));
        }
    }

#ifndef Q_OS_WIN // whose clock cannot be stopped
    void disconnectsSilentControllers()
    {
        FrozenClock clock;
        const auto silent = connectController();
        const auto halfFrames = connectController(); // bytes alone are no sign of life, nor are messages to it
        const auto alive = connectController();
        m_log.take();
        const auto pass = [&](std::chrono::milliseconds duration) {
            clock.advance(duration);
            m_server->writeAll(QJsonObject());
            QCoreApplication::processEvents();
            m_server->idle();
        };
        halfFrames->sendBytes("9999{");
        pass(3s);
        halfFrames->sendBytes("9");
        alive->send({});
        pass(2s);
        QCOMPARE(m_log.take(), u""_s);
        pass(1ms);
        QVERIFY(!m_connections.at(0) && !m_connections.at(1) && m_connections.at(2));
        const QString each = u"Connection alive expired. Disconnecting!/Connection removed/"_s;
        QCOMPARE(m_log.take(), each + each + "Deleting dead connection/Deleting dead connection"_L1);
    }

    void spacesIdlePasses()
    {
        FrozenClock clock;
        init(); // starts the timer: 30 ms, coarse
        connectController()->close();
        QVERIFY(turnUntil([this] { return m_server->connections().isEmpty(); }));
        clock.advance(28ms);
        QCoreApplication::processEvents();
        QVERIFY(m_connections.at(0));
        clock.advance(4ms);
        QVERIFY(turnUntil([this] { return !m_connections.at(0); }));
    }

    void survivesPauses()
    {
        FrozenClock clock;
        for (const bool isServerDestroyed : {false, true}) {
            init();
            const auto controller = connectController();
            const auto silent = connectController();
            int handled = 0;
            connect(m_server.get(), &NetworkServer::receivedJson, this, [&] {
                ++handled;
                m_server->idle(); // as in a dialog, which stays open for a while
                QVERIFY(!m_connections.at(1));
                clock.advance(6s);
                if (isServerDestroyed) {
                    m_server.reset();
                }
            });
            controller->send({});
            clock.advance(6s); // a pause of the event loop, in which the message has come
            m_server->idle();  // finds it
            QCOMPARE(handled, 1);
            if (m_server) {
                m_server->idle();
            }
            QVERIFY(turnUntil([&] { return controller->isConnected() == !isServerDestroyed; }));
            QCOMPARE(!m_connections.at(0), isServerDestroyed);
        }
    }

    void sharesTheEventLoop()
    {
        FrozenClock clock;
        const auto busy = connectController();
        const auto other = connectController();
        QList<qsizetype> handled; // whose messages
        bool isInDialog = false;
        bool wasReentered = false;
        connect(m_server.get(), &NetworkServer::receivedJson, this, [&](const auto&, auto* connection) {
            wasReentered |= isInDialog && connection == m_connections.at(0);
            if (handled.isEmpty() || handled.size() == 40) { // the second time not in the first time slice
                busy->sendBytes(QByteArray("0002{}").repeated(100));
                isInDialog = true;
                QCoreApplication::processEvents();
                isInDialog = false;
                other->send({});
            }
            handled.append(m_connections.indexOf(connection));
            clock.advance(1ms);
        });
        busy->send({});
        QVERIFY(turnUntil([&] { return handled.size() == 203; }));
        QVERIFY(!wasReentered);
        QVERIFY2(handled.indexOf(1) <= 30, qPrintable(QString::number(handled.indexOf(1))));
    }

    void pausesAcceptingWithoutDescriptors()
    {
        FrozenClock clock;
        const auto before = connectController();
        connect(m_server.get(), &NetworkServer::receivedJson, m_server.get(), [this] { m_server->writeAll("{}"); });
        m_log.take();
        rlimit limit {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
        const auto restore = qScopeGuard([limit] { setrlimit(RLIMIT_NOFILE, &limit); });
        std::vector<std::unique_ptr<Controller>> waiting;
        for (qsizetype connections = 1; connections <= 2; ++connections) { // a second shortage is a new one
            const int lowestFree = dup(STDIN_FILENO);
            close(lowestFree);
            const rlimit tight {static_cast<rlim_t>(lowestFree + 1), limit.rlim_max};
            QCOMPARE(setrlimit(RLIMIT_NOFILE, &tight), 0);
            waiting.push_back(std::make_unique<Controller>(m_server->serverPort())); // has the last descriptor
            QVERIFY(waiting.back()->isConnected()); // accepted by the system, not by the server
            m_server->idle();
            QCOMPARE(m_log.take(), u"Out of file descriptors, new connections have to wait"_s);
            QObject context;
            int turns = 0;
            connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &context,
                    [&turns] { ++turns; });
            clock.advance(1s);
            m_server->idle(); // tries again
            before->send({});
            QVERIFY(before->next());
            QVERIFY2(turns < 100, "the event loop spins");
            setrlimit(RLIMIT_NOFILE, &limit);
            clock.advance(999ms);
            m_server->idle();
            QCOMPARE(m_connections.size(), connections);
            clock.advance(1ms);
            m_server->idle();
            QCOMPARE(m_connections.size(), connections + 1);
            m_server->idle();
            QCOMPARE(m_log.take(), u"announced/Added new connection"_s); // each shortage is logged once
        }
    }
#endif

private:
    std::unique_ptr<Controller> connectController()
    {
        const qsizetype before = m_connections.size();
        auto controller = std::make_unique<Controller>(m_server->serverPort());
        if (!turnUntil([&] { return m_connections.size() > before; })) {
            qFatal("the server does not accept");
        }
        return controller;
    }

    LogCapture m_log;
    std::unique_ptr<NetworkServer> m_server;
    QList<QPointer<NetworkConnection>> m_connections; // in the order of their announcement
};

QTEST_GUILESS_MAIN(ServerTest)
#include "servertest.moc"
