// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "session.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

// The arguments of kestrelctl: what it can do, its help, and what is asked of it.
class CommandLine
{
public:
    CommandLine();
    ~CommandLine();

    // Null when there is a command to run; else the status to exit with, after help, version or an error.
    std::optional<int> parse(const QStringList& arguments);

    // Connects and runs the command that was parsed; the status to exit with.
    int run();

private:
    using Action = std::function<int(Session&)>;

    CLI::App& add(const char* group, const char* name, const char* summary, const Action& action);
    void addReading();
    void addScenes();
    void addItems();
    void addTransitions();
    void addSwitches();
    void addWords(CLI::App& app, const std::vector<std::string>& words);

    int switchTo(Session& session, const QString& property, const char* onWord) const;
    QStringList texts() const;

    QString text() const { return texts().value(0); }

    std::unique_ptr<CLI::App> m_app;
    Session::Options m_options;
    double m_timeout_s = 0;
    Action m_action;

    // The arguments of the command, whichever it is.
    std::string m_word;
    std::string m_value;
    std::vector<std::string> m_words;
    int m_duration_ms = 0;
    bool m_isRepeated = false;
};
