// SPDX-License-Identifier: GPL-2.0-or-later
#include "model/output.h"
#include "protocol/displaytext.h"
#include "protocol/itemmask.h"
#include "protocol/jsonwriter.h"
#include "protocol/messagebuilder.h"
#include "protocol/wholenumber.h"
#include "tests/support/table.h"

#include <QHash>
#include <QJsonArray>
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

    void showsStatistics_data() { addTable(QFINDTESTDATA("statistics.txt"), {"number", "text"}); }

    void showsStatistics()
    {
        QFETCH(const QString, number);
        const QStringList time = number.split(" at "_L1);
        const QHash<QByteArray, QString> texts {
            {"cpu", DisplayText::cpuUsage(number.toDouble())},
            {"memory", DisplayText::memory(number.toULongLong())},
            {"disk", DisplayText::freeDisk(number.toULongLong())},
            {"time", Output::elapsedTimeText(time.last().toULongLong(), time[0].toInt())},
        };
        QTEST(texts.value(QByteArray(QTest::currentDataTag()).split(':').constFirst()), "text");
    }

    void writesJsonLikeQt()
    {
        for (const QByteArray& text : {"A ~"_ba, "a\"b\\\x01\t\x1f\x7f"_ba, "Größe"_ba, "\xff"_ba,
                                       QByteArray(3000, 'x'), QByteArray(3000, '"')}) {
            const QString string = QString::fromUtf8(text); // invalid UTF-8 becomes U+FFFD
            JsonWriter writer;
            writer.beginObject().key("a").beginArray().string(text).number(-10).value(string).endArray();
            writer.key("b").boolean(true).key("c").string(text).endObject();
            const QJsonObject object {{"a"_L1, QJsonArray {string, -10, string}}, {"b"_L1, true}, {"c"_L1, string}};
            QCOMPARE(writer.take(), QJsonDocument(object).toJson(QJsonDocument::Compact));
        }
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
