// SPDX-License-Identifier: GPL-2.0-or-later
//
// kestrelctl, the controller for the command line.
#include "console.h"
#include "exitstatus.h"
#include "portoption.h"
#include "waitcommand.h"
#include "watchcommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <array>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct CommandEntry
{
    QLatin1StringView name;
    QLatin1StringView summary;
    std::unique_ptr<Command> (*make)(const Command::Options& options) = nullptr;
};

template<typename T>
std::unique_ptr<Command> make(const Command::Options& options)
{
    return std::make_unique<T>(options);
}

constexpr std::array commands {
    CommandEntry {"wait"_L1, "wait until a controller can connect"_L1, make<WaitCommand>},
    CommandEntry {"watch"_L1, "print the live state, then every change, until Ctrl-C"_L1, make<WatchCommand>},
};

const CommandEntry* findCommand(const QString& name)
{
    for (const CommandEntry& entry : commands) {
        if (entry.name == name) {
            return &entry;
        }
    }
    return nullptr;
}

QString commandSummary()
{
    QString text = u"Sees and drives OBS Studio through the KestrelBridge plug-in.\n\nCommands:"_s;
    for (const CommandEntry& entry : commands) {
        text += u"\n  %1  %2"_s.arg(entry.name, -8).arg(entry.summary);
    }
    return text;
}

int usageError(const QString& text)
{
    Console::printError(u"kestrelctl: %1\nSee kestrelctl --help."_s.arg(text));
    return ExitStatus::usage;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"kestrelctl"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTREL_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(commandSummary());
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const PortOption port(parser);
    const QCommandLineOption timeout(u"timeout"_s, u"How long to wait for the plug-in at most, in ms."_s, u"ms"_s);
    parser.addOption(timeout);
    parser.addPositionalArgument(u"command"_s, u"What to do."_s);

    if (!parser.parse(QCoreApplication::arguments())) {
        return usageError(parser.errorText());
    }
    if (parser.isSet(help)) {
        parser.showHelp(ExitStatus::done);
    }
    if (parser.isSet(version)) {
        parser.showVersion();
    }

    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1) {
        return usageError(arguments.isEmpty() ? u"which command?"_s : u"too many arguments"_s);
    }
    const CommandEntry* entry = findCommand(arguments[0]);
    if (!entry) {
        return usageError(u"there is no command \"%1\""_s.arg(arguments[0]));
    }

    Command::Options options;
    const std::optional<quint16> chosenPort = port.port(parser);
    if (!chosenPort) {
        return usageError(u"--port names no port of the plug-in"_s);
    }
    options.port = *chosenPort;
    if (parser.isSet(timeout)) {
        const int timeout_ms = parser.value(timeout).toInt();
        if (timeout_ms <= 0) {
            return usageError(u"--timeout takes a number of milliseconds above 0"_s);
        }
        options.timeout = std::chrono::milliseconds(timeout_ms);
    }

    const std::unique_ptr<Command> command = entry->make(options);
    QObject::connect(command.get(), &Command::finished, &application, &QCoreApplication::exit, Qt::QueuedConnection);
    command->start();
    return QCoreApplication::exec();
}
