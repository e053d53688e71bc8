// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/kestrelclient.h"
#include "client/kestrelsession.h"
#include "client/studiostate.h"
#include "tests/support/frozenclock.h"
#include "tests/support/memorydevice.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// A client that is connected to a device in memory, which stands for the plug-in.
struct Connection
{
    MemoryDevice device;
    KestrelClient client;
    QSignalSpy changed {&client, &KestrelClient::valueChanged};

    Connection() { client.connectThrough(&device); }

    void feed(const QByteArray& bytes)
    {
        device.input += bytes;
        emit device.readyRead();
    }
};

class ClientTest : public QObject
{
    Q_OBJECT

private slots:

    void synchronizes()
    {
        Connection connection;
        auto& [device, client, changed] = connection;
        const QSignalSpy synchronized(&client, &KestrelClient::synchronized);
        QStringList names = KestrelClient::statePropertyNames();
        connection.feed(values(names.mid(0, 5)));
        names.removeOne(u"sceneList"_s);
        QCOMPARE(device.output, agreement); // more of the state can follow
        connection.feed(values(names.mid(5)));
        QVERIFY(!client.isSynchronized());
        QCOMPARE(device.output, agreement + R"(0046{"values":[{"name":"sceneList","type":"get"}]})");
        connection.feed("####00012000"
                        + R"({"values":[{},{"name":"sceneList","value":[]}]})"_ba.leftJustified(12000, ' '));
        QVERIFY(client.isSynchronized());
        connection.feed(frame(R"([{"name":"recording","value":true}])"));
        QCOMPARE(client.value(u"recording"_s), QJsonValue(true));
        QCOMPARE(synchronized.size(), 1);
        QCOMPARE(changed.size(), names.size() + 2);
    }

    void writesRequests()
    {
        KestrelClient unconnected;
        QVERIFY(!unconnected.get({u"fps"_s}) && !unconnected.set(u"recording"_s, 1));
        Connection connection;
        auto& [device, client, changed] = connection;
        device.output.clear();
        QVERIFY(client.set(u"currentScene"_s, u"Ü"_s));
        QVERIFY(!client.set(u"currentScene"_s, QString(9999, u'x')));
        QCOMPARE(device.output, "0062{\"values\":[{\"name\":\"currentScene\",\"type\":\"set\",\"value\":\"Ü\"}]}"_ba);
        device.writesAllowed = 0;
        QVERIFY(!client.get({u"fps"_s}));
    }

#ifndef Q_OS_WIN // whose clock cannot be stopped
    void keepsTheConnectionAlive()
    {
        FrozenClock clock;
        Connection connection;
        clock.advance(4900ms); // after 5 s the plug-in disconnects
        QCoreApplication::processEvents();
        QCOMPARE(connection.device.output, agreement + "0013{\"values\":[]}");
    }
#endif

    void failsOnMalformedInput()
    {
        const QHash<QByteArray, QString> errors {
            {"HTTP/1.1 400", u"received a frame whose length is not a number"_s},
            {"0002[]", u"received a message that is not a JSON object"_s},
        };
        for (const auto& [bytes, error] : errors.asKeyValueRange()) {
            Connection connection;
            const QSignalSpy failed(&connection.client, &KestrelClient::failed);
            const QSignalSpy disconnected(&connection.client, &KestrelClient::disconnected);
            connection.feed(bytes + fullState);
            connection.feed(fullState);
            connection.client.disconnectFromPlugin();
            QCOMPARE(failed.size(), 1);
            QCOMPARE(failed.at(0).at(0).toString(), error);
            QCOMPARE(disconnected.size() + connection.changed.size(), 0);
        }
    }

    void slotsMayEndTheConnection()
    {
        MemoryDevice other;
        const qsizetype whole = KestrelClient::statePropertyNames().size();
        const std::vector<std::pair<qsizetype, std::function<void(KestrelClient&)>>> actions {
            {whole * 2 + 1, [](KestrelClient&) {}},
            {1, &KestrelClient::disconnectFromPlugin},
            {1, [](KestrelClient& client) { client.connectToPlugin(1); }},
            {whole + 1, [&other](KestrelClient& client) { client.connectThrough(&other); }},
        };
        for (const auto& [received, action] : actions) {
            other.input = fullState;
            Connection connection;
            connect(&connection.client, &KestrelClient::valueChanged, this, [&, act = action] {
                if (connection.changed.size() == 1) {
                    act(connection.client);
                }
            });
            connection.feed(fullState + fullState);
            connection.feed(values({u"fps"_s})); // after an action no longer read
            QCOMPARE(connection.changed.size(), received);
        }
    }

    void endsWaitingWithTheConnection()
    {
        QTcpServer plugin;
        QVERIFY(plugin.listen(QHostAddress::LocalHost));
        connect(&plugin, &QTcpServer::newConnection, [&plugin] { plugin.nextPendingConnection()->close(); });
        KestrelSession session(1h);
        QVERIFY(!session.open(plugin.serverPort()));
        QCOMPARE(session.errorString(), u"the plug-in closed the connection"_s);
    }

    void showsTheState()
    {
        Connection connection;
        const StudioState state(connection.client);
        QVERIFY(state.programScene().isEmpty() && state.transition().isEmpty() && state.items(u"A"_s).isEmpty());
        connection.feed(frame(R"([
            {"name":"sceneList","value":[{"name":"A","sourceList":[{"name":"x","isVisible":true},
                                                                   {"name":"y","isLocked":true}]},{"name":"B"}]},
            {"name":"transitionsList","value":[{"name":"Cut"},{"name":"Fade","isCurrent":true}]},
            {"name":"currentTransition","value":"Cut"},{"name":"recording","value":true}])"));
        QCOMPARE(state.sceneNames(), (QStringList {u"A"_s, u"B"_s}));
        const QList<SceneItem> items = state.items(u"A"_s);
        QCOMPARE(items.size(), 2);
        QVERIFY(items[0].isVisible && !items[0].isLocked && !items[1].isVisible && items[1].isLocked);
        QVERIFY(state.items(u"B"_s).isEmpty());
        QCOMPARE(state.transition(), u"Fade"_s);
        QVERIFY(state.isOn(u"recording"_s) && !state.isOn(u"streaming"_s));
        QList<bool> bits(33, false);
        bits[31] = bits[32] = true;
        QCOMPARE(StudioState::itemMask(bits), std::numeric_limits<qint32>::min() + 1);
    }

private:
    static QByteArray frame(const QByteArray& entries)
    {
        const QByteArray body = "{\"values\":" + entries + '}';
        return QByteArray::number(body.size()).rightJustified(4, '0') + body;
    }

    static QByteArray values(const QStringList& names)
    {
        QJsonArray entries;
        for (const QString& name : names) {
            entries.append(QJsonObject {{"name"_L1, name}, {"value"_L1, u"ä"_s}});
        }
        return frame(QJsonDocument(entries).toJson(QJsonDocument::Compact));
    }

    const QByteArray fullState = values(KestrelClient::statePropertyNames());
    static inline const QByteArray agreement = "####00000013{\"values\":[]}";
};

QTEST_GUILESS_MAIN(ClientTest)
#include "clienttest.moc"
