// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/kestrelclient.h"
#include "client/studiostate.h"
#include "tests/support/memorydevice.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

// The client library on a device in memory that stands for the plug-in.
class ClientTest : public QObject
{
    Q_OBJECT

private slots:

    void synchronizesAtAnySplit()
    {
        const QByteArray bytes = message(fullState()) + message({entry(u"recording"_s, true)});
        for (qsizetype size = 1; size < bytes.size(); size = size * 2 + 1) {
            MemoryDevice device(size);
            KestrelClient client;
            const QSignalSpy synchronized(&client, &KestrelClient::synchronized);
            const QSignalSpy changed(&client, &KestrelClient::valueChanged);
            client.connectThrough(&device);
            for (qsizetype fed = 0; fed < bytes.size(); fed += size) {
                device.input += bytes.mid(fed, size);
                emit device.readyRead();
            }
            QCOMPARE(synchronized.size(), 1);
            QCOMPARE(changed.size(), KestrelClient::statePropertyNames().size() + 1);
            QCOMPARE(client.value(u"recording"_s), QJsonValue(true));
            QCOMPARE(device.output, agreement);
        }
    }

    void requestsWhatTheStateLeavesOut()
    {
        QJsonArray state = fullState();
        const QJsonValue scenes = state.takeAt(KestrelClient::statePropertyNames().indexOf(u"sceneList"_s));
        MemoryDevice device;
        KestrelClient client;
        client.connectThrough(&device);
        feed(device, message(state));
        QVERIFY(!client.isSynchronized());
        QCOMPARE(device.output, agreement + R"(0046{"values":[{"name":"sceneList","type":"get"}]})");
        feed(device, "####00012000" + body({scenes}).leftJustified(12000, ' '));
        QVERIFY(client.isSynchronized());
    }

    void writesRequests()
    {
        MemoryDevice device;
        KestrelClient client;
        QVERIFY(!client.get({u"fps"_s}) && !client.set(u"recording"_s, 1)); // not connected
        client.connectThrough(&device);
        device.output.clear();
        QVERIFY(client.set(u"currentScene"_s, u"Ü"_s));
        QCOMPARE(device.output, "0062{\"values\":[{\"name\":\"currentScene\",\"type\":\"set\",\"value\":\"Ü\"}]}"_ba);
        device.output.clear();
        QVERIFY(!client.set(u"currentScene"_s, QString(9999, u'x')));
        QCOMPARE(device.output, ""_ba);
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
        for (auto error = errors.cbegin(); error != errors.cend(); ++error) {
            MemoryDevice device;
            KestrelClient client;
            QSignalSpy failed(&client, &KestrelClient::failed);
            const QSignalSpy disconnected(&client, &KestrelClient::disconnected);
            const QSignalSpy changed(&client, &KestrelClient::valueChanged);
            client.connectThrough(&device);
            feed(device, error.key() + message(fullState()));
            feed(device, message(fullState()));
            client.disconnectFromPlugin();
            QCOMPARE(failed.size(), 1);
            QCOMPARE(failed.takeFirst().first().toString(), error.value());
            QCOMPARE(disconnected.size() + changed.size(), 0);

            MemoryDevice other;
            other.input = message(fullState());
            client.connectThrough(&other);
            QVERIFY(client.isSynchronized());
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
            MemoryDevice device;
            KestrelClient client;
            qsizetype count = 0;
            connect(&client, &KestrelClient::valueChanged, this, [&, act = action] {
                if (++count == 1) {
                    act(client);
                }
            });
            client.connectThrough(&device);
            feed(device, message(fullState()) + message(fullState()));
            feed(device, message({entry(u"fps"_s, 1)})); // after an action no longer read
            QCOMPARE(count, received);
        }
    }

    void showsTheState()
    {
        MemoryDevice device;
        KestrelClient client;
        const StudioState state(client);
        QCOMPARE(state.programScene() + state.transition(), u""_s);
        QVERIFY(state.items(u"A"_s).isEmpty());
        client.connectThrough(&device);
        const auto json = [](const char* text) { return QJsonDocument::fromJson(text).array(); };
        feed(device,
             message({entry(u"sceneList"_s, json(R"([{"name":"A","sourceList":[{"name":"x","isVisible":true},
                                                     {"name":"y","isLocked":true}]},{"name":"B"}])")),
                      entry(u"transitionsList"_s, json(R"([{"name":"Cut"},{"name":"Fade","isCurrent":true}])")),
                      entry(u"currentTransition"_s, u"Cut"_s), entry(u"recording"_s, true)}));
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

    static QByteArray message(const QJsonArray& entries)
    {
        const QByteArray bytes = body(entries);
        return QByteArray::number(bytes.size()).rightJustified(4, '0') + bytes;
    }

    static void feed(MemoryDevice& device, const QByteArray& bytes)
    {
        device.input += bytes;
        emit device.readyRead();
    }

    static inline const QByteArray agreement = "####00000013{\"values\":[]}";
};

QTEST_GUILESS_MAIN(ClientTest)
#include "clienttest.moc"
