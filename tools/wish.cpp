// SPDX-License-Identifier: GPL-2.0-or-later
#include "wish.h"

#include "console.h"
#include "exitstatus.h"
#include "report.h"

using namespace Qt::StringLiterals;

namespace {

int notSeen(Session& session, const QString& what, std::chrono::milliseconds limit, const QString& advice)
{
    if (!session.ending().isEmpty()) {
        return Report::connectionLost(session);
    }
    const double limit_s = std::chrono::duration<double>(limit).count();
    return Report::refused(u"not seen within %1 s: %2"_s.arg(limit_s).arg(what), advice);
}

// What runs a transition takes so much longer.
std::chrono::milliseconds limitOf(const Session& session, bool hasTransition)
{
    return session.timeout() + std::chrono::milliseconds(hasTransition ? session.host().transitionDuration_ms() : 0);
}

} // namespace

int report(const Session& session, const Wish& wish, bool isChanged)
{
    if (session.options().isJson) {
        Report::jsonChange(wish.property, wish.reported, isChanged);
    } else {
        Console::printLine(Console::printable(wish.outcome) + (isChanged ? QString() : u" already"_s));
    }
    return ExitStatus::done;
}

int ask(Session& session, const Wish& wish, bool hasTransition)
{
    const std::chrono::milliseconds limit = limitOf(session, hasTransition);
    if (!session.client().set(wish.property, wish.value)) {
        return Report::connectionLost(session);
    }
    return session.waitFor(wish.isMet, limit) ? ExitStatus::done : notSeen(session, wish.outcome, limit, wish.advice);
}

int fulfil(Session& session, const Wish& wish, bool hasTransition)
{
    if (wish.isMet()) {
        return report(session, wish, false);
    }
    const int status = ask(session, wish, hasTransition);
    return status == ExitStatus::done ? report(session, wish, true) : status;
}

int noSuch(const QString& what, const QString& name, const QStringList& names)
{
    return Report::refused(u"%1 \"%2\""_s.arg(what, name), Report::choice(names));
}
