// SPDX-License-Identifier: GPL-2.0-or-later
#include "network/networkreader.h"
#include "network/networkwriter.h"
#include "tests/support/memorydevice.h"
#include "tests/support/table.h"

#include <QHash>
#include <QJsonDocument>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

// The frames of both directions, on a device in memory.
class FramingTest : public QObject
{
    Q_OBJECT

private slots:

    void readsAnySplit()
    {
        const QJsonObject text {{"name"_L1, u"Größe €😀"_s}};
        MemoryDevice wire;
        QVERIFY(NetworkWriter(&wire).write(text));
        const QList<qsizetype> ends {wire.output.size(), wire.output.size() + 19, wire.output.size() + 25};
        const QByteArray bytes = wire.output + "####00000007{\"n\":1}0002{}";

        for (qsizetype piece = 1; piece <= bytes.size(); ++piece) { // among others, one cut at every place
            MemoryDevice device;
            NetworkReader reader(&device);
            QList<QJsonObject> read;
            connect(&reader, &NetworkReader::receivedJson, this, [&](const auto& json) { read.append(json); });
            for (qsizetype fed = 0; fed < bytes.size(); fed += piece) {
                device.input += bytes.mid(fed, piece);
                QVERIFY(reader.readFrames());
                QCOMPARE(read.size(),
                         std::count_if(ends.begin(), ends.end(), [&](qsizetype end) { return end <= fed + piece; }));
            }
            QCOMPARE(read, (QList {text, QJsonObject {{"n"_L1, 1}}, QJsonObject()}));
        }
    }

    void readsFrame_data() { addTable(QFINDTESTDATA("frames.txt"), {"error"}); }

    void readsFrame()
    {
        const QJsonDocument row = QJsonDocument::fromJson(QByteArray("[") + QTest::currentDataTag() + ']');
        const QByteArray bytes = row[0].toString().toLatin1();
        QFETCH(const QString, error);
        MemoryDevice device;
        NetworkReader reader(&device);
        const QSignalSpy received(&reader, &NetworkReader::receivedJson);
        device.input = bytes + "0002{}";
        QCOMPARE(reader.readFrames(), error.isEmpty());
        QCOMPARE(received.size(), error.isEmpty() ? 2 : 0); // nothing after a failure
        QCOMPARE(QString::fromUtf8(reader.errorString()).trimmed(), error);
    }

    void readsUpToALimit()
    {
        MemoryDevice device;
        NetworkReader reader(&device, 9);
        const QSignalSpy received(&reader, &NetworkReader::receivedJson);
        device.input = "####00000009{\"n\":100}0002{}0002{}####00000010";
        QVERIFY(reader.readFrames([&received] { return received.size() < 2; }));
        QCOMPARE(received.size(), 2);
        QVERIFY(!reader.readFrames());
        QCOMPARE(received.size(), 3);
        QCOMPARE(reader.error(), NetworkReader::Error::MalformedLength);
        reader.reset();
        QCOMPARE(reader.error(), NetworkReader::Error::None);
        device.input = "0002{}";
        QVERIFY(reader.readFrames());
        QCOMPARE(received.size(), 4);
        device.input = "####01048576{" + QByteArray(1'048'574, ' ') + '}'; // the limit when no other is given
        QVERIFY(NetworkReader(&device).readFrames());
    }

    void writes()
    {
        const QHash<QString, QByteArray> headers {
            {u"äöü"_s, "0014"}, // two bytes a letter
            {QString(9991, u'x'), "9999"},
            {QString(9992, u'x'), "####00010000"}, // only to a peer that has sent a long frame itself
            {QString(4996, u'ä'), "####00010000"},
        };
        for (const auto& [text, header] : headers.asKeyValueRange()) {
            const bool isRefused = header.startsWith('#');
            const QByteArray body = NetworkWriter::encode({{"a"_L1, text}});
            MemoryDevice device;
            NetworkWriter writer(&device);
            // A message that is refused leaves the stream in step.
            QVERIFY(writer.write(body) && writer.write(QJsonObject()));
            QCOMPARE(device.output, (isRefused ? ""_ba : header + body) + "0002{}");
            const QString refusal = u"Warning: NetworkWriter refusing to write %1 bytes"_s.arg(body.size());
            QCOMPARE(QString::fromUtf8(writer.refusal(body.size())), isRefused ? refusal : u""_s);
            device.output.clear();
            writer.setLongFrames(true);
            QVERIFY(writer.write(body) && writer.writeLongFrame("{}"));
            QCOMPARE(device.output, header + body + "####00000002{}");
        }
    }

    void reportsRefusedWrites()
    {
        for (const int allowed : {0, 1}) {
            MemoryDevice device;
            device.writesAllowed = allowed;
            QVERIFY(!NetworkWriter(&device).write(QJsonObject()));
            QCOMPARE(device.output, allowed == 0 ? ""_ba : "0002"_ba);
        }
        MemoryDevice device;
        QVERIFY(NetworkWriter(&device).write(QByteArray()));
        QCOMPARE(device.output, ""_ba);
        QCOMPARE(NetworkWriter(&device).refusal(0), "Warning: NetworkWriter trying to write 0 bytes"_ba);
    }
};

QTEST_GUILESS_MAIN(FramingTest)
#include "framingtest.moc"
