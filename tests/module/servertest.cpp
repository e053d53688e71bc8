// SPDX-License-Identifier: GPL-2.0-or-later
#include "network/networklimits.h"
#include "network/networkserver.h"
#include "support/log.h"
#include "tests/support/controller.h"
#include "tests/support/logcapture.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QPointer>
#include <QScopeGuard>
#include <QTest>

#include <functional>

#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Ending = std::function<void(std::unique_ptr<NetworkServer>&, Controller&)>;
Q_DECLARE_METATYPE(Ending)

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

    void tellsPort()
    {
        // A port that a 16-bit signed number would show as negative.
        QTcpServer occupant;
        quint16 port = 50000;
        while (!occupant.listen(QHostAddress(QHostAddress::LocalHost), port)) {
            ++port;
        }
        m_server->stop();
        m_server->start(port);
        QVERIFY(!m_server->isListening());
        occupant.close();
        m_server->start(port);
        QCOMPARE(m_log.take().join(u'/').remove(QString::number(port)),
                 u"Server failed to listen on localhost, port /Server listening on localhost, port "_s);
        QCOMPARE(m_server->serverAddress(), QHostAddress(QHostAddress::LocalHost));
    }

    void relaysAndWrites()
    {
        QVERIFY(!m_server->writeAll(QJsonObject())); // nobody there
        const auto first = connectController();
        const auto second = connectController();
        QCOMPARE(takeLog(), u"announced/Added new connection/announced/Added new connection"_s);
        connect(m_server.get(), &NetworkServer::receivedJson, this, [this](QJsonObject json, auto* connection) {
            json["from"_L1] = m_connections.indexOf(connection);
            QVERIFY(m_server->write(connection, json));
        });
        second->sendBytes("0008{\"n\":22}0008{\"n\":33}");
        first->send({{"n"_L1, 11}});
        QCOMPARE(second->next(), (QJsonObject {{"n"_L1, 22}, {"from"_L1, 1}}));
        QCOMPARE(second->next(), (QJsonObject {{"n"_L1, 33}, {"from"_L1, 1}}));
        QCOMPARE(first->next(), (QJsonObject {{"n"_L1, 11}, {"from"_L1, 0}}));
        QVERIFY(m_server->writeAll(QJsonObject {{"all"_L1, true}}));
        QCOMPARE(first->next(), (QJsonObject {{"all"_L1, true}}));
        QCOMPARE(second->next(), (QJsonObject {{"all"_L1, true}}));
        QCOMPARE(takeLog(), u""_s);
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
        }
        for (int i = 0; i < messages; ++i) {
            QCOMPARE(controller->next().value_or(QJsonObject()).value("number"_L1).toInt(-1), i);
        }
    }

    void endsConnection_data()
    {
        // What happens once the socket has reported its end, and what a handler writes to it then.
        const auto reported = u"Connection removed/told/NetworkConnection::write failed, disconnecting/Deleting dead "
                              "connection"_s;
        const auto failed = u"/NetworkConnection::readData failed/"_s + reported;
        QTest::addColumn<Ending>("ending");
        QTest::addColumn<QString>("logged");
        QTest::newRow("peer closes") << Ending([](auto&, auto& peer) { peer.close(); }) << reported;
        QTest::newRow("not a number") << Ending([](auto&, auto& peer) { peer.sendBytes("abcd"); })
                                      << "Malformed expectant bytes: abcd\n"_L1 + failed;
        QTest::newRow("not an object") << Ending([](auto&, auto& peer) { peer.sendBytes("0002[]0002{}"); })
                                       << "Malformed json: []"_L1 + failed;
        QTest::newRow("server stops") << Ending([](auto& server, auto&) { server->stop(); }) << reported;
        QTest::newRow("server is destroyed") << Ending([](auto& server, auto&) { server.reset(); }) << "";
        const auto writeOn = [](auto& server, auto&) {
            const QJsonObject json {{"a"_L1, QString(9000, u'a')}};
            // The system takes some megabytes off the connection.
            for (qint64 sent = 0; sent <= 4 * NetworkLimits::maximumUnsent_bytes; sent += 9000) {
                server->writeAll(json);
            }
        };
        QTest::newRow("peer does not read")
            << Ending(writeOn) << "NetworkConnection::write failed, disconnecting/Deleting dead connection";
    }

    void endsConnection()
    {
        QFETCH(const Ending, ending);
        const auto controller = connectController();
        int received = 0;
        connect(m_server.get(), &NetworkServer::receivedJson, this, [&received] { ++received; });
        connect(m_server.get(), &NetworkServer::connectionRemoved, this, [this](const auto* connection) {
            QCOMPARE(connection, m_connections.constFirst().get());
            logInfo("told");
            QVERIFY(m_server->writeAll(QJsonObject())); // the dead connection is still there
        });
        takeLog();
        ending(m_server, *controller);
        QTRY_VERIFY(!m_connections.constFirst());
        QTEST(takeLog(), "logged");
        QCOMPARE(received, 0);
        QTRY_VERIFY(!controller->isConnected());
    }

    void disconnectsTheSilent()
    {
        using namespace std::chrono_literals;
        QElapsedTimer elapsed;
        elapsed.start();
        const auto silent = connectController();
        const auto halfFrames = connectController(); // bytes alone are no sign of life, nor are messages to it
        const auto alive = connectController();
        takeLog();
        QTimer traffic;
        connect(&traffic, &QTimer::timeout, this, [&] {
            halfFrames->sendBytes("9");
            m_server->writeAll(QJsonObject());
        });
        traffic.start(900ms);
        QTimer::singleShot(3s, &traffic, [&alive] { alive->send({}); });
        halfFrames->sendBytes("9999{");
        QTRY_VERIFY_WITH_TIMEOUT(!m_connections.at(0) && !m_connections.at(1), 8000);
        QVERIFY(elapsed.durationElapsed() >= NetworkLimits::aliveLimit);
        QVERIFY(elapsed.durationElapsed() < NetworkLimits::aliveLimit + 1s);
        QVERIFY(m_connections.at(2) && alive->isConnected());
        const QString each = u"Connection alive expired. Disconnecting!/Connection removed/Deleting dead connection"_s;
        QStringList expected = (each + u'/' + each).split(u'/');
        QStringList logged = m_log.take();
        logged.sort(); // the two expire in one pass or in two
        expected.sort();
        QCOMPARE(logged, expected);
    }

    void survivesNestedEventLoop_data()
    {
        QTest::addColumn<Ending>("ending");
        QTest::newRow("peer stays") << Ending();
        QTest::newRow("peer closes") << Ending([](auto&, auto& peer) { peer.close(); });
        QTest::newRow("server stops") << Ending([](auto& server, auto&) { server->stop(); });
        QTest::newRow("server is destroyed") << Ending([](auto& server, auto&) { server.reset(); });
    }

    void survivesNestedEventLoop()
    {
        QFETCH(const Ending, ending);
        const auto controller = connectController();
        const auto bystander = connectController();
        int handled = 0;
        connect(m_server.get(), &NetworkServer::receivedJson, this, [&](const auto&, const auto* connection) {
            if (++handled > 1) {
                return;
            }
            // As in a modal dialog of the host: the peer sends more, it and another end, and idle passes run.
            controller->send({});
            if (ending) {
                ending(m_server, *controller);
            }
            bystander->close();
            QTRY_VERIFY(!m_connections.at(1));
            QCOMPARE(m_connections.at(0).get(), connection);
            QCOMPARE(handled, 1);
        });
        controller->send({});
        if (ending) {
            QTRY_VERIFY(handled > 0 && !m_connections.at(0));
        } else {
            QTRY_COMPARE(handled, 2); // without any further byte
            QVERIFY(controller->isConnected());
        }
    }

    void survivesNestedEventLoopAtTheEnd()
    {
        for (const bool isServerDestroyed : {false, true}) {
            init();
            const auto controller = connectController();
            const auto bystander = connectController();
            connect(m_server.get(), &NetworkServer::connectionRemoved, this, [&](const auto* connection) {
                if (connection != m_connections.at(0)) {
                    return;
                }
                bystander->close();
                QTRY_VERIFY(!m_connections.at(1)); // idle passes delete others only
                if (isServerDestroyed) {
                    m_server.reset();
                }
                QCOMPARE(m_connections.at(0).get(), connection);
            });
            controller->sendBytes(QByteArray("0002{}").repeated(100'000)); // more than is handled at once
            controller->close();
            QTRY_VERIFY(!m_connections.at(0) && !m_connections.at(1));
        }
    }

    void pausesAcceptingWithoutDescriptors()
    {
        const auto before = connectController();
        connect(m_server.get(), &NetworkServer::receivedJson, m_server.get(), [this] { m_server->writeAll("{}"); });
        takeLog();
        rlimit limit {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
        const auto restore = qScopeGuard([limit] { setrlimit(RLIMIT_NOFILE, &limit); });
        const int lowestFree = dup(STDIN_FILENO);
        close(lowestFree);
        const rlimit tight {static_cast<rlim_t>(lowestFree + 1), limit.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &tight), 0);
        Controller waiting(m_server->serverPort()); // has the last descriptor
        QVERIFY(waiting.isConnected());             // to the system, which lets it wait
        QStringList logged;
        QTRY_COMPARE(logged += m_log.take(), QStringList {u"Out of file descriptors, new connections have to wait"_s});
        int turns = 0;
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, m_server.get(),
                [&turns] { ++turns; });

        QElapsedTimer elapsed;
        elapsed.start();
        QTRY_VERIFY(elapsed.durationElapsed() > 2 * NetworkLimits::acceptRetryInterval); // tried again meanwhile
        before->send({});
        QVERIFY(before->next());
        QCOMPARE(m_connections.size(), 1);
        QVERIFY2(turns < 1000, "the event loop spins");
        setrlimit(RLIMIT_NOFILE, &limit);
        QTRY_COMPARE(m_connections.size(), 2);
        QCOMPARE(takeLog(), u"announced/Added new connection"_s); // the shortage was told once
    }

private:
    std::unique_ptr<Controller> connectController()
    {
        const qsizetype before = m_connections.size();
        auto controller = std::make_unique<Controller>(m_server->serverPort());
        if (!QTest::qWaitFor([&] { return m_connections.size() > before; })) {
            qFatal("the server does not accept");
        }
        return controller;
    }

    QString takeLog() { return m_log.take().join(u'/'); }

    LogCapture m_log;
    std::unique_ptr<NetworkServer> m_server;
    QList<QPointer<NetworkConnection>> m_connections; // in the order of their announcement
};

QTEST_GUILESS_MAIN(ServerTest)
#include "servertest.moc"
