// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/kestrelclient.h"
#include "client/kestrelsession.h"
#include "client/studiostate.h"
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

    explicit Connection(qint64 bytesPerRead = std::numeric_limits<qint64>::max())
        : device(bytesPerRead)
    {
        client.connectThrough(&device);
    }

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

    void synchronizesAtAnySplit()
    {
        const QByteArray bytes = message(fullState()) + message({entry(u"recording"_s, true)});
        for (qsizetype size = 1; size < bytes.size(); size = size * 2 + 1) {
            Connection connection(size);
            const QSignalSpy synchronized(&connection.client, &KestrelClient::synchronized);
            for (qsizetype fed = 0; fed < bytes.size(); fed += size) {
                connection.feed(bytes.mid(fed, size));
            }
            QCOMPARE(synchronized.size(), 1);
            QCOMPARE(connection.changed.size(), KestrelClient::statePropertyNames().size() + 1);
            QCOMPARE(connection.client.value(u"recording"_s), QJsonValue(true));
            QCOMPARE(connection.device.output, agreement);
        }
    }

    void requestsWhatTheStateLeavesOut()
    {
        QJsonArray state = fullState();
        const QJsonValue scenes = state.takeAt(KestrelClient::statePropertyNames().indexOf(u"sceneList"_s));
        Connection connection;
        connection.feed(message(state));
        QVERIFY(!connection.client.isSynchronized());
        QCOMPARE(connection.device.output, agreement + R"(0046{"values":[{"name":"sceneList","type":"get"}]})");
        connection.feed("####00012000" + body({scenes}).leftJustified(12000, ' '));
        QVERIFY(connection.client.isSynchronized());
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
        device.output.clear();
        QTRY_COMPARE_WITH_TIMEOUT(device.output, "0013{\"values\":[]}"_ba, 60'000); // keep-alive
        device.writesAllowed = 0;
        QVERIFY(!client.get({u"fps"_s}));
    }

    void failsOnMalformedInput()
    {
        const QString noObject = u"received a message that is not a JSON object"_s;
        const QHash<QByteArray, QString> errors {
            {"HTTP/1.1 400", u"received a frame whose length is not a number"_s},
            {"0003{a}", noObject},
            {"0002[]", noObject},
        };
        for (const auto& [bytes, error] : errors.asKeyValueRange()) {
            Connection connection;
            const QSignalSpy failed(&connection.client, &KestrelClient::failed);
            const QSignalSpy disconnected(&connection.client, &KestrelClient::disconnected);
            connection.feed(bytes + message(fullState()));
            connection.feed(message(fullState()));
            connection.client.disconnectFromPlugin();
            QCOMPARE(failed.size(), 1);
            QCOMPARE(failed.at(0).at(0).toString(), error);
            QCOMPARE(disconnected.size() + connection.changed.size(), 0);

            MemoryDevice other;
            other.input = message(fullState());
            connection.client.connectThrough(&other);
            QVERIFY(connection.client.isSynchronized());
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
            other.input = message(fullState());
            Connection connection;
            connect(&connection.client, &KestrelClient::valueChanged, this, [&, act = action] {
                if (connection.changed.size() == 1) {
                    act(connection.client);
                }
            });
            connection.feed(message(fullState()) + message(fullState()));
            connection.feed(message({entry(u"fps"_s, 1)})); // after an action no longer read
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
        QCOMPARE(state.programScene() + state.transition(), u""_s);
        QVERIFY(state.items(u"A"_s).isEmpty());
        connection.feed(frame(R"({"values":[
            {"name":"sceneList","value":[{"name":"A","sourceList":[{"name":"x","isVisible":true},
                                                                   {"name":"y","isLocked":true}]},{"name":"B"}]},
            {"name":"transitionsList","value":[{"name":"Cut"},{"name":"Fade","isCurrent":true}]},
            {"name":"currentTransition","value":"Cut"},{"name":"recording","value":true}]})"));
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
    static QJsonValue entry(const QString& name, const QJsonValue& value)
    {
        return QJsonObject {{"name"_L1, name}, {"type"_L1, "set"_L1}, {"value"_L1, value}};
    }

    static QJsonArray fullState()
    {
        QJsonArray entries;
        for (const QString& name : KestrelClient::statePropertyNames()) {
            entries.append(entry(name, u"ä"_s));
        }
        return entries;
    }

    static QByteArray body(const QJsonArray& entries)
    {
        return QJsonDocument(QJsonObject {{"values"_L1, entries}}).toJson(QJsonDocument::Compact);
    }

    static QByteArray frame(const QByteArray& body)
    {
        return QByteArray::number(body.size()).rightJustified(4, '0') + body;
    }

    static QByteArray message(const QJsonArray& entries) { return frame(body(entries)); }

    static inline const QByteArray agreement = "####00000013{\"values\":[]}";
};

QTEST_GUILESS_MAIN(ClientTest)
#include "clienttest.moc"
