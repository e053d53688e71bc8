// SPDX-License-Identifier: GPL-2.0-or-later
#include "commandline.h"

#include "commands.h"
#include "console.h"
#include "exitstatus.h"
#include "pluginport.h"
#include "report.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>

#include <CLI/CLI.hpp>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Commands::ItemChange;

namespace {

// To wait for a host that is starting.
constexpr std::chrono::milliseconds startTimeout = 60s;
constexpr std::chrono::milliseconds retryInterval = 100ms;

constexpr double minimumTimeout_s = 0.001;
constexpr double maximumTimeout_s = 1e6;

constexpr std::size_t nameColumns = 34;

constexpr auto readingGroup = "See";
constexpr auto changingGroup = "Change";

constexpr auto examples = R"(Examples:
  kestrelctl scenes                      every scene with its items
  kestrelctl scene Interview             put a scene on air
  kestrelctl hide Guest                  hide an item of the scene on air
  kestrelctl hide 2 3                    the second and the third from the top
  kestrelctl studio on
  kestrelctl preview Closing
  kestrelctl go                          run the transition to the preview
  kestrelctl transition Fade --duration 500
  kestrelctl record start
  kestrelctl get currentScene --json     one JSON value a line, for scripts
  kestrelctl watch recording streaming   print changes until Ctrl-C

A change is done when the host has told of it. Exit status: 0 done, 1 refused or
not seen in time, 2 wrong usage, 3 no connection. "kestrelctl COMMAND --help"
tells about one command. A name that begins with a dash follows "--".)";

// The parser takes an argument in brackets for a list. It is kept from seeing one by this character in front.
constexpr char guard = '\x1f';

std::string guarded(const QString& argument)
{
    const bool isListed = argument.startsWith(u'[') || argument.startsWith(u'{');
    return (isListed ? std::string(1, guard) : std::string()) + argument.toStdString();
}

QString unguarded(const std::string& argument)
{
    return QString::fromStdString(argument).remove(QLatin1Char(guard));
}

} // namespace

CommandLine::CommandLine()
    : m_app(std::make_unique<CLI::App>("See and drive OBS Studio through the KestrelBridge plug-in.", "kestrelctl"))
{
    m_app->allow_windows_style_options(false);
    m_app->get_formatter()->column_width(nameColumns);
    m_app->get_formatter()->label("SUBCOMMAND", "COMMAND ...");
    m_app->get_formatter()->label("REQUIRED", "");
    m_app->set_help_flag("-h,--help", "This help, or a command's");
    m_app->set_version_flag("--version", "kestrelctl " KESTREL_VERSION, "The version of this program");
    m_app->require_subcommand(0, 1); // that there is one is told in better words below
    m_app->fallthrough();
    PluginPort::addOption(*m_app, m_options.port);
    m_app->add_option("--timeout", m_timeout_s, "How long to wait for what was asked for (5; wait: 60)")
        ->type_name("SECONDS")
        ->check(CLI::Range(minimumTimeout_s, maximumTimeout_s).description({}));
    m_app->add_flag("--json", m_options.isJson, "One JSON value a line");
    addReading();
    addScenes();
    addItems();
    addTransitions();
    addSwitches();
    m_app->footer(examples); // last, since commands take over what is there when they are added
}

CommandLine::~CommandLine() = default;

CLI::App& CommandLine::add(const char* group, const char* name, const char* summary, const Action& action)
{
    CLI::App* command = m_app->add_subcommand(name, summary)->group(group);
    command->footer("--port, --timeout and --json go with every command: see kestrelctl --help.");
    command->callback([this, action] { m_action = action; });
    return *command;
}

// A command that takes one of some words.
void CommandLine::addWords(CLI::App& app, const std::vector<std::string>& words)
{
    std::string name;
    for (const std::string& word : words) {
        name += (name.empty() ? "" : "|") + word;
    }
    app.add_option(name, m_word)->required()->type_name(" ")->check(CLI::IsMember(words).description({}));
}

void CommandLine::addReading()
{
    add(readingGroup, "state", "Every property with its value", Commands::state);
    add(readingGroup, "scenes", "Every scene with its items", Commands::scenes);
    add(readingGroup, "get", "Values of properties",
        [this](Session& session) { return Commands::get(session, texts()); })
        .add_option("NAME", m_words, "As \"kestrelctl state\" shows them")
        ->required()
        ->type_name(" ");
    add(readingGroup, "watch", "The state, then every change, until Ctrl-C",
        [this](Session& session) { return Commands::watch(session, texts()); })
        .add_option("NAME", m_words, "Only these properties; statistics are asked for once a second")
        ->type_name(" ");
    add(readingGroup, "stats", "The host's load and the figures of its outputs", [this](Session& session) {
        return m_isRepeated ? Commands::watchStats(session) : Commands::stats(session);
    }).add_flag("--watch", m_isRepeated, "Once a second, in place, until Ctrl-C");
    add(readingGroup, "wait", "Wait until the plug-in answers", [](Session&) { return ExitStatus::done; });
    add(readingGroup, "version", "The version of this program", {});
    addWords(add("", "names", "For completion", [this](Session& session) { return Commands::names(session, text()); }),
             {"scenes", "items", "transitions", "properties"});
}

void CommandLine::addScenes()
{
    add(changingGroup, "scene", "Put a scene on air",
        [this](Session& session) { return Commands::putOnAir(session, text()); })
        .add_option("NAME", m_word)
        ->required()
        ->type_name(" ");
    add(changingGroup, "preview", "Choose the preview of studio mode",
        [this](Session& session) { return Commands::choosePreview(session, text()); })
        .add_option("NAME", m_word)
        ->required()
        ->type_name(" ");
    CLI::App& set = add(changingGroup, "set", "Give a property a value",
                        [this](Session& session) { return Commands::set(session, text(), unguarded(m_value)); });
    set.add_option("NAME", m_word, "As \"kestrelctl state\" shows them")->required()->type_name(" ");
    set.add_option("VALUE", m_value, "A name, a number, a mask, on or off")->required()->type_name(" ");
}

void CommandLine::addItems()
{
    const auto addChange = [this](const char* name, const char* summary, ItemChange change) {
        add(changingGroup, name, summary,
            [this, change](Session& session) { return Commands::changeItems(session, change, texts()); })
            .add_option("ITEM", m_words, "Names, or positions: 1 is the top-most")
            ->required()
            ->type_name(" ");
    };
    addChange("show", "Show items of the scene on air", ItemChange::Show);
    addChange("hide", "Hide items of the scene on air", ItemChange::Hide);
    addChange("lock", "Lock items of the scene on air", ItemChange::Lock);
    addChange("unlock", "Unlock items of the scene on air", ItemChange::Unlock);
}

void CommandLine::addTransitions()
{
    CLI::App& transition
        = add(changingGroup, "transition", "Choose the transition; alone: list them", [this](Session& session) {
              if (m_word.empty() && m_duration_ms == 0) {
                  return Commands::transitions(session);
              }
              int status = ExitStatus::done;
              if (!m_word.empty()) {
                  status = Commands::chooseTransition(session, text());
              }
              if (status == ExitStatus::done && m_duration_ms != 0) {
                  status = Commands::setTransitionDuration(session, m_duration_ms);
              }
              return status;
          });
    transition.add_option("NAME", m_word)->type_name(" ");
    transition.add_option("--duration", m_duration_ms, "How long transitions take")
        ->type_name("MS")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()).description({}));
    add(changingGroup, "go", "Run the transition of studio mode",
        [this](Session& session) {
            return Commands::go(session, m_word.empty() ? std::nullopt : std::optional(text()));
        })
        .add_option("--with", m_word, "With this transition, for this once")
        ->type_name("TRANSITION");
    add(changingGroup, "cut", "The same with the transition \"Cut\", for this once",
        [](Session& session) { return Commands::go(session, u"Cut"_s); });
}

void CommandLine::addSwitches()
{
    addWords(add(changingGroup, "record", "Start or stop the recording, or tell of it",
                 [this](Session& session) { return switchTo(session, u"recording"_s, "start"); }),
             {"start", "stop", "status"});
    addWords(add(changingGroup, "stream", "Start or stop streaming, or tell of it",
                 [this](Session& session) { return switchTo(session, u"streaming"_s, "start"); }),
             {"start", "stop", "status"});
    addWords(add(changingGroup, "studio", "Turn studio mode on or off, or tell of it",
                 [this](Session& session) { return switchTo(session, u"studioMode"_s, "on"); }),
             {"on", "off", "status"});
}

int CommandLine::switchTo(Session& session, const QString& property, const char* onWord) const
{
    return m_word == "status" ? Commands::isOn(session, property) : Commands::turn(session, property, m_word == onWord);
}

// The names given to the command.
QStringList CommandLine::texts() const
{
    QStringList texts;
    for (const std::string& word : m_words.empty() && !m_word.empty() ? std::vector {m_word} : m_words) {
        texts.append(unguarded(word));
    }
    return texts;
}

std::optional<int> CommandLine::parse(const QStringList& arguments)
{
    std::vector<std::string> reversed;
    for (qsizetype i = arguments.size() - 1; i > 0; --i) {
        reversed.push_back(guarded(arguments[i]));
    }
    try {
        m_app->parse(std::move(reversed));
    } catch (const CLI::Success& success) {
        return m_app->exit(success);
    } catch (const CLI::ParseError& error) {
        return Report::usageError(unguarded(error.what()));
    }
    if (m_app->get_subcommands().empty()) {
        return Report::usageError(u"which command?"_s);
    }
    if (m_app->got_subcommand("version")) {
        if (m_options.isJson) {
            Report::jsonValue(u"version"_s, QStringLiteral(KESTREL_VERSION));
        } else {
            Console::printLine(QStringLiteral("kestrelctl " KESTREL_VERSION));
        }
        return ExitStatus::done;
    }
    if (m_timeout_s > 0) {
        m_options.timeout = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(m_timeout_s));
    }
    return std::nullopt;
}

int CommandLine::run()
{
    Session session(m_options);
    const bool isPatient = m_app->got_subcommand("wait");
    const QDeadlineTimer deadline(isPatient ? m_options.timeout.value_or(startTimeout) : session.timeout());
    while (!session.open(std::chrono::milliseconds(deadline.remainingTime()))) {
        if (!isPatient || deadline.hasExpired()) {
            return Report::unconnected(session);
        }
        QEventLoop pause;
        QTimer::singleShot(retryInterval, &pause, &QEventLoop::quit);
        pause.exec();
    }
    return m_action(session);
}
