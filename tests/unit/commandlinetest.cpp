// SPDX-License-Identifier: GPL-2.0-or-later
#include "tests/support/table.h"
#include "tools/arguments.h"
#include "tools/format.h"

#include <QRegularExpression>

#include <clocale>

// The parts of kestrelctl that need no connection: parsing, tables and completion.
class CommandLineTest : public QObject
{
    Q_OBJECT

private slots:

    void init() { qunsetenv("KESTREL_PORT"); }

    void parses_data() { addTable(QFINDTESTDATA("commandlines.txt"), {"words", "suggestion"}); }

    void parses()
    {
        QFETCH(const QString, suggestion);
        QStringList arguments = QString::fromLatin1(QTest::currentDataTag()).split(u' ');
        if (arguments.constFirst().startsWith("KESTREL_PORT="_L1)) {
            qputenv("KESTREL_PORT", arguments.takeFirst().section(u'=', 1).toLatin1());
        }
        try {
            QTEST(parseArguments(arguments).words.join(u'/'), "words");
        } catch (const Result& result) {
            QTEST(result.error, "words");
            QCOMPARE(result.status, ExitStatus::usage);
            QCOMPARE(result.hint.section(u'"', 1, 1), suggestion);
            QVERIFY(result.hint.endsWith("See kestrelctl --help."_L1));
        }
    }

    void takesOptions()
    {
        qputenv("KESTREL_PORT", "1234");
        QCOMPARE(parseArguments({u"wait"_s}).port, 1234);
        const Invocation invocation = parseArguments(
            {u"transition"_s, u"--duration"_s, u"400"_s, u"--port=99"_s, u"--timeout"_s, u"0.0015"_s, u"--json"_s});
        QVERIFY(invocation.command->run == Commands::transition && invocation.isJson);
        QCOMPARE(invocation.duration_ms, 400);
        QCOMPARE(invocation.port, 99);
        QCOMPARE(*invocation.timeout, std::chrono::milliseconds(2));
    }

    void completes_data() { addTable(QFINDTESTDATA("completions.txt"), {"candidates"}); }

    void completes()
    {
        const QString line = QString::fromLatin1(QTest::currentDataTag()).remove(u'_');
        KestrelSession session;
        QStringList candidates = Commands::complete(session, {.words = line.split(u' ')}).lines;
        candidates.replaceInStrings(QRegularExpression(u"\t.*"_s), u""_s); // without their descriptions
        QTEST(candidates.join(u' '), "candidates");
    }

    void alignsColumns()
    {
        std::setlocale(LC_ALL, "C.UTF-8"); // NOLINT(concurrency-mt-unsafe): no other thread runs
        const QStringList lines = Format::table(
            {{{u"a\nb"_s}, {u"x"_s}, {u""_s}}, {{u"日本"_s}, {u"y"_s}, {u"w"_s}}, {{u"e\u0301"_s}, {u"z"_s}}});
        QCOMPARE(lines, (QStringList {u"a\ufffdb   x"_s, u"日本  y  w"_s, u"e\u0301     z"_s}));
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "commandlinetest.moc"
