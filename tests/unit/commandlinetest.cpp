// SPDX-License-Identifier: GPL-2.0-or-later
#include "tools/arguments.h"
#include "tools/format.h"

#include <QTest>

#include <clocale>

// The parts of kestrelctl that need no connection: parsing, tables and completion.
class CommandLineTest : public QObject
{
    Q_OBJECT

private slots:

    void init() { qunsetenv("KESTREL_PORT"); }

    void parses_data()
    {
        QTest::addColumn<QString>("words"); // of the command, or the error
        const auto row = [](const char* line, const QString& words) { QTest::newRow(line) << words; };
        row("hide Title [a] {b} 2", u"Title/[a]/{b}/2"_s);
        row("set sourceVisibles -1 --json", u"sourceVisibles/-1"_s);
        row("hide -- -x --json", u"-x/--json"_s);
        row("-- hide -x", u"-x"_s);
        row("--json watch --timeout=0.5 fps --port 99", u"fps"_s);
        row("record", u""_s);
        row("dance Title", u"unknown command \"dance\""_s);
        row("scene", u"scene needs SCENE"_s);
        row("set fps", u"set needs VALUE"_s);
        row("scenes Title", u"unexpected argument \"Title\""_s);
        row("record perhaps", u"record takes start, stop, toggle, status, not \"perhaps\""_s);
        row("hide -x", u"unknown option -x"_s);
        row("scenes --json=1", u"unknown option --json=1"_s);
        row("scenes --watch", u"scenes takes no option --watch"_s);
        row("scenes --port", u"--port needs NUMBER"_s);
        row("scenes --port 65354", u"--port takes a number from 1 to 65353"_s);
        row("scenes --port=", u"--port takes a number from 1 to 65353"_s);
        row("scenes --timeout nan", u"--timeout takes 0.001 to 1000000 seconds"_s);
        row("transition Cut --duration 49", u"a transition takes 50 to 20000 ms"_s);
        row("transition --duration 20001", u"a transition takes 50 to 20000 ms"_s);
    }

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
    }

    void takesThePortOfTheEnvironment()
    {
        const auto port = [](const QStringList& arguments) { return Arguments::parse(arguments); };
        qputenv("KESTREL_PORT", "1234");
        QCOMPARE(std::get<Invocation>(port({u"wait"_s})).port, 1234);
        QCOMPARE(std::get<Invocation>(port({u"wait"_s, u"--port"_s, u"99"_s})).port, 99);
        qputenv("KESTREL_PORT", "x");
        QCOMPARE(std::get<Result>(port({u"wait"_s})).error, u"KESTREL_PORT takes a number from 1 to 65353"_s);
    }

    void suggestsCommands()
    {
        const auto hint = [](const QString& word) { return std::get<Result>(Arguments::parse({word})).hint; };
        QCOMPARE(hint(u"sceens"_s), u"Did you mean \"scenes\"? See kestrelctl --help."_s);
        QCOMPARE(hint(u"completee"_s), u"See kestrelctl --help."_s); // for shells only
        QCOMPARE(hint(u"something"_s), u"See kestrelctl --help."_s);
    }

    void completes_data()
    {
        QTest::addColumn<QString>("line"); // the last word is the one to complete
        QTest::addColumn<QString>("candidates");
        QTest::newRow("choice") << u"record "_s << u"start stop toggle status"_s;
        QTest::newRow("no second choice") << u"record start "_s << u""_s;
        QTest::newRow("value of a switch") << u"set recording "_s << u"on off"_s;
        QTest::newRow("value of a read-only property") << u"set fps "_s << u""_s;
        QTest::newRow("writable") << u"set "_s << Commands::writablePropertyNames().join(u' ');
        QTest::newRow("readable") << u"get fps "_s << Commands::propertyNames().join(u' ');
        QTest::newRow("number") << u"scenes --port "_s << u""_s;
        QTest::newRow("unknown command") << u"dance "_s << u""_s;
        QTest::newRow("options of a command")
            << u"stats -"_s << u"-- --port --timeout --json --help --version --watch"_s;
        QTest::newRow("no options after dashes") << u"stats -- -"_s << u""_s;
    }

    void completes()
    {
        QFETCH(const QString, line);
        KestrelSession session;
        QStringList candidates = Commands::complete(session, {.words = line.split(u' ')}).lines;
        for (QString& candidate : candidates) {
            candidate = candidate.section(u'\t', 0, 0);
        }
        QTEST(candidates.join(u' '), "candidates");
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
