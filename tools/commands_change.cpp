// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that change the host. Each looks first whether all is as wanted already, since the host tells only of
// what changes, and then waits to be told.
#include "commands.h"
#include "exitstatus.h"
#include "report.h"
#include "wish.h"

using namespace Qt::StringLiterals;

namespace {

// The host's own limits.
constexpr int minimumDuration_ms = 50;
constexpr int maximumDuration_ms = 20000;

Wish transitionWish(Session& session, const QString& name)
{
    return {u"currentTransition"_s,
            name,
            name + " is the transition"_L1,
            [&session, name] { return session.host().transition() == name; },
            name,
            u"The host does not change it while one is running; try again."_s};
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
    if (name == "sourceVisibles"_L1 || name == "sourceLocks"_L1) {
        return setMask(session, name, text);
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
        if (const int status = ask(session, transitionWish(session, *transition))) {
            return status;
        }
    }

    const QString scene = host.preview();
    bool isStopped = false;
    const QObject context;
    QObject::connect(&session.client(), &KestrelClient::valueChanged, &context,
                     [&](const QString& name) { isStopped = isStopped || name == "triggerTransition"_L1; });
    Wish wish {u"triggerTransition"_s,
               true,
               scene + " is on air"_L1,
               [&] { return isStopped && session.host().program() == scene; },
               scene,
               u"The host passes over it while another transition is running; try again."_s};
    int status = ask(session, wish, true);
    if (isBorrowed && session.client().isConnected()) {
        const int restored = ask(session, transitionWish(session, former));
        status = status == ExitStatus::done ? restored : status;
    }
    if (status == ExitStatus::done) {
        wish.property = u"currentScene"_s; // what there is to tell of
        report(session, wish, true);
    }
    return status;
}

} // namespace Commands
