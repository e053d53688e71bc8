// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that change the host. Each looks first whether all is as wanted already, since the host tells only of
// what changes, and then waits to be told.
#include "commands.h"
#include "console.h"
#include "exitstatus.h"
#include "report.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// The host's own limits.
constexpr int minimumDuration_ms = 50;
constexpr int maximumDuration_ms = 20000;

// A change to ask for.
struct Wish
{
    QString property;
    QJsonValue value;            // as it is set
    QString outcome;             // "Interview is on air"
    std::function<bool()> isMet; // by what the plug-in has told
    QJsonValue reported;         // how the property then reads
    QString advice;              // when it does not happen
};

int report(const Session& session, const Wish& wish, bool isChanged)
{
    if (session.options().isJson) {
        Report::jsonChange(wish.property, wish.reported, isChanged);
    } else {
        Console::printLine(Console::printable(wish.outcome) + (isChanged ? QString() : u" already"_s));
    }
    return ExitStatus::done;
}

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

int ask(Session& session, const Wish& wish, std::chrono::milliseconds limit)
{
    if (!session.client().set(wish.property, wish.value)) {
        return Report::connectionLost(session);
    }
    return session.waitFor(wish.isMet, limit) ? ExitStatus::done : notSeen(session, wish.outcome, limit, wish.advice);
}

int fulfil(Session& session, const Wish& wish, bool hasTransition = false)
{
    if (wish.isMet()) {
        return report(session, wish, false);
    }
    const int status = ask(session, wish, limitOf(session, hasTransition));
    return status == ExitStatus::done ? report(session, wish, true) : status;
}

int noSuch(const QString& what, const QString& name, const QStringList& names)
{
    return Report::refused(u"%1 \"%2\""_s.arg(what, name), Report::choice(names));
}

Wish transitionWish(Session& session, const QString& name)
{
    return {u"currentTransition"_s,
            name,
            name + " is the transition"_L1,
            [&session, name] { return session.host().transition() == name; },
            name,
            u"The host does not change it while one is running; try again."_s};
}

// The state of every item of the program scene, seen and set by one mask.
struct ItemState
{
    QString property;
    bool HostItem::*isSet;
};

const ItemState visibility {u"sourceVisibles"_s, &HostItem::isVisible};
const ItemState locks {u"sourceLocks"_s, &HostItem::isLocked};

QList<bool> current(const Session& session, const ItemState& state)
{
    QList<bool> current;
    const HostState host = session.host();
    const QList<HostItem> items = host.items(host.program());
    for (const HostItem& item : items) {
        current.append(item.*state.isSet);
    }
    return current;
}

int applyMask(Session& session, const ItemState& state, const QList<bool>& wanted, const QString& outcome)
{
    const qint32 mask = HostState::mask(wanted);
    return fulfil(session,
                  {state.property,
                   mask,
                   outcome,
                   [&session, state, wanted] { return current(session, state) == wanted; },
                   mask,
                   {}});
}

// The position of an item named as people do, or, where no item has that name, by its place from the top, the first
// being 1. Null after a message.
std::optional<qsizetype> position(const QList<HostItem>& items, const QString& text)
{
    QStringList names;
    QStringList places;
    for (qsizetype i = 0; i < items.size(); ++i) {
        names.append(items[i].name);
        if (items[i].name == text) {
            places.append(QString::number(i + 1));
        }
    }
    if (places.size() > 1) {
        Report::refused(u"%1 items are named \"%2\""_s.arg(places.size()).arg(text),
                        u"Say which by its position: %1"_s.arg(places.join(", "_L1)));
        return std::nullopt;
    }
    const qsizetype place = places.isEmpty() ? text.toLongLong() : places.first().toLongLong();
    if (place < 1 || place > items.size()) {
        noSuch(u"the scene on air has no item"_s, text, names);
        return std::nullopt;
    }
    return place - 1;
}

std::optional<bool> switchValue(const QString& text)
{
    if (text == "on"_L1 || text == "true"_L1 || text == "1"_L1) {
        return true;
    }
    if (text == "off"_L1 || text == "false"_L1 || text == "0"_L1) {
        return false;
    }
    return std::nullopt;
}

int setMask(Session& session, const ItemState& state, const QString& text)
{
    bool isNumber = false;
    const qlonglong mask = text.toLongLong(&isNumber);
    if (!isNumber || mask < std::numeric_limits<qint32>::min() || mask > std::numeric_limits<quint32>::max()) {
        return Report::usageError(u"%1 takes a number of 32 bits"_s.arg(state.property));
    }
    QList<bool> wanted = current(session, state);
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        wanted[i] = HostState::isSet(static_cast<qint32>(mask), i);
    }
    return applyMask(session, state, wanted, u"%1 is %2"_s.arg(state.property).arg(HostState::mask(wanted)));
}

} // namespace

namespace Commands {

int set(Session& session, const QString& name, const QString& text)
{
    if (name == "currentScene"_L1 || (name == "sceneList"_L1 && !session.host().isOn(u"studioMode"_s))) {
        return putOnAir(session, text);
    }
    if (name == "previewScene"_L1 || name == "sceneList"_L1) {
        return choosePreview(session, text);
    }
    if (name == "currentTransition"_L1 || name == "transitionsList"_L1) {
        return chooseTransition(session, text);
    }
    if (name == visibility.property || name == locks.property) {
        return setMask(session, name == locks.property ? locks : visibility, text);
    }
    if (name == "transitionDuration"_L1) {
        bool isNumber = false;
        const int duration_ms = text.toInt(&isNumber);
        return isNumber ? setTransitionDuration(session, duration_ms)
                        : Report::usageError(name + " takes a number of milliseconds"_L1);
    }
    if (name == "triggerTransition"_L1) {
        return go(session, std::nullopt);
    }
    if (name == "streaming"_L1 || name == "recording"_L1 || name == "studioMode"_L1) {
        const std::optional<bool> on = switchValue(text);
        return on ? turn(session, name, *on) : Report::usageError(name + " takes on or off"_L1);
    }
    const QStringList known = KestrelClient::statePropertyNames() + QStringList {u"fps"_s};
    return known.contains(name) ? Report::refused(name + " can only be read"_L1)
                                : noSuch(u"there is no property"_s, name, known);
}

int changeItems(Session& session, ItemChange change, const QStringList& names)
{
    const bool isLock = change == ItemChange::Lock || change == ItemChange::Unlock;
    const bool isSet = change == ItemChange::Show || change == ItemChange::Lock;
    const ItemState& state = isLock ? locks : visibility;
    const HostState host = session.host();
    const QList<HostItem> items = host.items(host.program());

    QList<bool> wanted = current(session, state);
    QStringList changed;
    for (const QString& name : names) {
        const std::optional<qsizetype> place = position(items, name);
        if (!place) {
            return ExitStatus::notSeen;
        }
        wanted[*place] = isSet;
        changed.append(items[*place].name);
    }
    // One mask is for all items, so it has to be right for every two that share a bit, named or not.
    for (qsizetype i = HostState::maskBits; i < wanted.size(); ++i) {
        const qsizetype other = i - HostState::maskBits;
        if (wanted[i] != wanted[other]) {
            return Report::refused(
                u"items %1 (%2) and %3 (%4) can only be changed together"_s.arg(other + 1)
                    .arg(items[other].name)
                    .arg(i + 1)
                    .arg(items[i].name),
                u"The plug-in has %1 bits for the items of a scene. Name both, or change one of them in the host."_s
                    .arg(HostState::maskBits));
        }
    }
    const QString outcome = isLock ? (isSet ? u"locked"_s : u"unlocked"_s) : (isSet ? u"shown"_s : u"hidden"_s);
    return applyMask(session, state, wanted,
                     changed.join(", "_L1) + (changed.size() == 1 ? " is "_L1 : " are "_L1) + outcome);
}

int putOnAir(Session& session, const QString& scene)
{
    if (!session.host().sceneNames().contains(scene)) {
        return noSuch(u"there is no scene"_s, scene, session.host().sceneNames());
    }
    return fulfil(session,
                  {u"currentScene"_s, scene, scene + " is on air"_L1, [&] { return session.host().program() == scene; },
                   scene, u"The host passes over it while a transition is running; try again."_s},
                  true);
}

int choosePreview(Session& session, const QString& scene)
{
    if (!session.host().isOn(u"studioMode"_s)) {
        return Report::refused(u"there is no preview outside studio mode"_s,
                               u"Turn it on with: kestrelctl studio on"_s);
    }
    if (!session.host().sceneNames().contains(scene)) {
        return noSuch(u"there is no scene"_s, scene, session.host().sceneNames());
    }
    return fulfil(session,
                  {u"previewScene"_s,
                   scene,
                   scene + " is the preview"_L1,
                   [&] { return session.host().preview() == scene; },
                   scene,
                   {}});
}

int chooseTransition(Session& session, const QString& transition)
{
    const QStringList names = session.host().transitionNames();
    return names.contains(transition) ? fulfil(session, transitionWish(session, transition))
                                      : noSuch(u"there is no transition"_s, transition, names);
}

int setTransitionDuration(Session& session, int duration_ms)
{
    if (duration_ms < minimumDuration_ms || duration_ms > maximumDuration_ms) {
        return Report::refused(u"a transition takes %1 to %2 ms"_s.arg(minimumDuration_ms).arg(maximumDuration_ms));
    }
    return fulfil(session,
                  {u"transitionDuration"_s,
                   duration_ms,
                   u"Transitions take %1 ms"_s.arg(duration_ms),
                   [&] { return session.host().transitionDuration_ms() == duration_ms; },
                   duration_ms,
                   {}});
}

int turn(Session& session, const QString& property, bool on)
{
    return fulfil(session,
                  {property, on ? 1 : 0, Report::switchText(property, on),
                   [&] { return session.host().isOn(property) == on; }, on,
                   u"Look at the host's window: it may be asking or telling something."_s});
}

int go(Session& session, const std::optional<QString>& transition)
{
    const HostState host = session.host();
    if (!host.isOn(u"studioMode"_s)) {
        return Report::refused(u"there is nothing to put on air outside studio mode"_s,
                               u"Turn it on with: kestrelctl studio on. Without it, kestrelctl scene NAME puts a scene "
                               "on air."_s);
    }
    const QString former = host.transition();
    const bool isBorrowed = transition && *transition != former;
    if (isBorrowed) {
        if (!host.transitionNames().contains(*transition)) {
            return noSuch(u"there is no transition"_s, *transition, host.transitionNames());
        }
        if (const int status = ask(session, transitionWish(session, *transition), session.timeout())) {
            return status;
        }
    }

    const QString scene = host.preview();
    bool isStopped = false;
    const QObject context;
    QObject::connect(&session.client(), &KestrelClient::valueChanged, &context, [&](const QString& name) {
        isStopped = isStopped || name == "triggerTransition"_L1;
        session.look();
    });
    Wish wish {u"triggerTransition"_s,
               true,
               scene + " is on air"_L1,
               [&] { return isStopped && session.host().program() == scene; },
               scene,
               u"The host passes over it while another transition is running; try again."_s};
    int status = ask(session, wish, limitOf(session, true));
    if (isBorrowed && session.client().isConnected()) {
        const int restored = ask(session, transitionWish(session, former), session.timeout());
        status = status == ExitStatus::done ? restored : status;
    }
    if (status == ExitStatus::done) {
        wish.property = u"currentScene"_s; // what there is to tell of
        report(session, wish, true);
    }
    return status;
}

} // namespace Commands
