// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/output.h"
#include "protocol/displaytext.h"
#include "protocol/itemmask.h"
#include "protocol/jsonwriter.h"
#include "protocol/messagebuilder.h"
#include "protocol/wholenumber.h"
#include "tests/support/table.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

using namespace Qt::StringLiterals;

// How controllers' numbers are taken, how the host's are shown, and how entries are packed.
class ValueConversionTest : public QObject
{
    Q_OBJECT

private slots:

    void convertsNumbers_data() { addTable(QFINDTESTDATA("numbers.txt"), {"number", "mask"}); }

    void convertsNumbers()
    {
        const QByteArray json = QByteArray("[") + QTest::currentDataTag() + "]";
        const QVariant value(QJsonDocument::fromJson(json)[0]);
        const auto number = wholeNumber(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
        const auto mask = ItemMask::fromVariant(value);
        QTEST(number ? QString::number(*number) : u""_s, "number");
        QTEST(mask ? QString::number(mask->value()) : u""_s, "mask");
        QVERIFY(!ItemMask::fromVariant(QVariant(QJsonValue(QJsonValue::Undefined))));
    }

    void showsStatistics_data()
    {
        constexpr quint64 gigabyte = 1'073'741'824;
        constexpr quint64 terabyte = 1'099'511'627'776;
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("expected");
        QTest::newRow("cpu, two digits") << DisplayText::cpuUsage(12.34) << "12%";
        QTest::newRow("cpu, one decimal") << DisplayText::cpuUsage(5.67) << "5.7%";
        QTest::newRow("cpu, full") << DisplayText::cpuUsage(100) << "1e+02%";
        QTest::newRow("memory has one unit") << DisplayText::memory(2 * gigabyte) << "2048.0 MB";
        QTest::newRow("disk, megabytes") << DisplayText::freeDisk(123'456'789) << "117.7 MB";
        QTest::newRow("disk, 1 GB") << DisplayText::freeDisk(gigabyte) << "1024.0 MB";
        QTest::newRow("disk, above 1 GB") << DisplayText::freeDisk(gigabyte + 1) << "1.0 GB";
        QTest::newRow("disk, gigabytes") << DisplayText::freeDisk(536'870'912'000) << "500.0 GB";
        QTest::newRow("disk, 1 TB") << DisplayText::freeDisk(terabyte) << "1024.0 GB";
        QTest::newRow("disk, above 1 TB") << DisplayText::freeDisk(terabyte + 1) << "1.0 TB";
        QTest::newRow("disk, 64 bits") << DisplayText::freeDisk(quint64 {1} << 63) << "8388444.2 TB";
        QTest::newRow("time, truncated") << Output::elapsedTimeText(33'333'333, 5'400) << "00:02:59";
        QTest::newRow("time, full minute") << Output::elapsedTimeText(33'333'333, 5'401) << "00:03:00";
        QTest::newRow("time, before the hour") << Output::elapsedTimeText(16'666'666, 216'000) << "00:59:59";
        QTest::newRow("time, full hour") << Output::elapsedTimeText(16'666'666, 216'001) << "01:00:00";
        QTest::newRow("time, 100 hours") << Output::elapsedTimeText(1'000'000'000, 360'000) << "100:00:00";
    }

    void showsStatistics()
    {
        QFETCH(const QString, shown);
        QTEST(shown, "expected");
    }

    void writesJsonStrings_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("json");
        const auto row = [](const char* name, const QByteArray& text, const QByteArray& json) {
            QTest::newRow(name) << text << '"' + json + '"';
        };
        row("plain", "A ~", "A ~");
        row("quote", "a\"b", "a\\\"b");
        row("backslash", "\\", "\\\\");
        row("control characters", "\x01\t\x1f", "\\u0001\\t\\u001f");
        row("not ASCII", "Größe", "Größe");
        row("invalid UTF-8", "\xff", "\xef\xbf\xbd");
        row("long", QByteArray(3000, 'x'), QByteArray(3000, 'x'));
        row("long, escaped", QByteArray(3000, '"'), "\\\""_ba.repeated(3000));
    }

    void writesJsonStrings()
    {
        QFETCH(const QByteArray, text);
        QFETCH(const QByteArray, json);
        JsonWriter writer;
        writer.beginObject().key("a").beginArray().string(text).number(-10).value(QString::fromUtf8(text)).endArray();
        writer.key("b").boolean(true).key("c").string(text).endObject();
        QCOMPARE(writer.take(), "{\"a\":[" + json + ",-10," + json + "],\"b\":true,\"c\":" + json + '}');
    }

    void buildsMessages()
    {
        const auto entry = [](int length) { return QByteArray(length, 'x'); }; // what it holds does not matter
        const auto body = [](const QByteArray& entries) { return "{\"values\":[" + entries + "]}"; };
        for (const bool accepts : {true, false}) {
            MessageBuilder builder(accepts ? 1'000'000 : 9999);
            QVERIFY(builder.takeAll().isEmpty());
            QCOMPARE(builder.append(entry(5000)), 0);
            QCOMPARE(builder.append(entry(4985)), 0); // together with the comma: 9999 bytes
            QVERIFY(builder.takeFull().isEmpty());
            QCOMPARE(builder.append(entry(5000)), 0);
            const QList<QByteArray> full = builder.takeFull();
            QCOMPARE(builder.append(entry(4986)), 0); // together with the comma: 10000 bytes
            QCOMPARE(builder.append(entry(1)), 0);
            QCOMPARE(builder.append(entry(9987)), accepts ? 0 : 10000); // too long by a byte, for itself
            QCOMPARE(builder.append(entry(9986)), 0);
            QVERIFY(builder.size_bytes() >= 5000 + 4986 + 9986);
            const QList<QByteArray> ends = accepts
                ? QList {body(entry(4986) + ",x"), body(entry(9987)), body(entry(9986))}
                : QList {body(entry(4986) + ",x,{}"), body(entry(9986))};
            QCOMPARE(full + builder.takeAll(),
                     (QList {body(entry(5000) + ',' + entry(4985)), body(entry(5000))} + ends));
        }
    }
};

QTEST_GUILESS_MAIN(ValueConversionTest)
#include "valueconversiontest.moc"
