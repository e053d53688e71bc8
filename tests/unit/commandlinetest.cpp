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

    void parses_data() { addTable(QFINDTESTDATA("commandlines.txt"), {"words"}); }

    void parses()
    {
        const auto parsed = Arguments::parse(QString::fromLatin1(QTest::currentDataTag()).split(u' '));
        const auto* const invocation = std::get_if<Invocation>(&parsed);
        QTEST(invocation != nullptr ? invocation->words.join(u'/') : std::get<Result>(parsed).error, "words");
        QVERIFY(invocation != nullptr || std::get<Result>(parsed).status == ExitStatus::usage);
    }

    void takesOptions()
    {
        const auto parsed = Arguments::parse(
            {u"transition"_s, u"--duration"_s, u"400"_s, u"--port=99"_s, u"--timeout"_s, u"0.0015"_s, u"--json"_s});
        const auto& invocation = std::get<Invocation>(parsed);
        QVERIFY(invocation.command->run == Commands::transition && invocation.isJson);
        QCOMPARE(invocation.duration_ms, 400);
        QCOMPARE(invocation.port, 99);
        QCOMPARE(*invocation.timeout, std::chrono::milliseconds(2));
        qputenv("KESTREL_PORT", "1234");
        QCOMPARE(std::get<Invocation>(Arguments::parse({u"wait"_s})).port, 1234);
        QCOMPARE(std::get<Invocation>(Arguments::parse({u"wait"_s, u"--port"_s, u"99"_s})).port, 99);
        qputenv("KESTREL_PORT", "x");
        QCOMPARE(std::get<Result>(Arguments::parse({u"wait"_s})).error,
                 u"KESTREL_PORT takes a number from 1 to 65353"_s);
    }

    void suggestsCommands()
    {
        const auto hint = [](const QString& word) { return std::get<Result>(Arguments::parse({word})).hint; };
        QCOMPARE(hint(u"sceens"_s), u"Did you mean \"scenes\"? See kestrelctl --help."_s);
        QCOMPARE(hint(u"completee"_s), u"See kestrelctl --help."_s); // for shells only
        QCOMPARE(hint(u"something"_s), u"See kestrelctl --help."_s);
    }

    void completes()
    {
        const auto candidates = [](const QString& line) { // for the last word
            KestrelSession session;
            QStringList found = Commands::complete(session, {.words = line.split(u' ')}).lines;
            found.replaceInStrings(QRegularExpression(u"\t.*"_s), u""_s);
            return found.join(u' ');
        };
        QCOMPARE(candidates(u"record "_s), u"start stop toggle status"_s);
        QCOMPARE(candidates(u"set recording "_s), u"on off"_s);
        QCOMPARE(candidates(u"set "_s), Commands::writablePropertyNames().join(u' '));
        QCOMPARE(candidates(u"get fps "_s), Commands::propertyNames().join(u' '));
        QCOMPARE(candidates(u"stats -"_s), u"-- --port --timeout --json --help --version --watch"_s);
        // No second choice, no value of a read-only property, no numbers, no unknown command, no options after dashes.
        for (const QString& line :
             {u"record start "_s, u"set fps "_s, u"scenes --port "_s, u"dance "_s, u"stats -- -"_s}) {
            QCOMPARE(candidates(line), u""_s);
        }
    }

    void alignsColumns()
    {
        std::setlocale(LC_ALL, "C.UTF-8");
        const QStringList lines
            = Format::table({{{u"a\nb"_s}, {u"x"_s}, {u""_s}}, {{u"日本"_s}, {u"y"_s}}, {{u"e\u0301"_s}, {u"z"_s}}});
        QCOMPARE(lines, (QStringList {u"a\ufffdb   x"_s, u"日本  y"_s, u"e\u0301     z"_s}));
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "commandlinetest.moc"
