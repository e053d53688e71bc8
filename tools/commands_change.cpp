// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that change scenes, transitions and outputs.
#include "arguments.h"
#include "changerequest.h"
#include "format.h"

#include <algorithm>
#include <iterator>

namespace {

Result unknownScene(const KestrelSession& session, const QString& scene)
{
    return Commands::unknownName(u"there is no scene"_s, scene, session.state().sceneNames());
}

Result setProgramScene(KestrelSession& session, const QString& /*property*/, const QString& scene)
{
    if (!session.state().sceneNames().contains(scene)) {
        return unknownScene(session, scene);
    }
    return apply(session,
                 {.property = u"currentScene"_s,
                  .value = scene,
                  .successMessage = scene + " is the program scene"_L1,
                  .isDone = [&] { return session.state().programScene() == scene; },
                  .hint = u"OBS ignores this while a transition is running; try again."_s,
                  .runsTransition = true});
}

Result setPreviewScene(KestrelSession& session, const QString& /*property*/, const QString& scene)
{
    if (!session.state().isOn(u"studioMode"_s)) {
        return Result::failure(u"there is no preview scene outside studio mode"_s,
                               u"Turn it on with: kestrelctl studio on"_s);
    }
    if (!session.state().sceneNames().contains(scene)) {
        return unknownScene(session, scene);
    }
    return apply(session,
                 {.property = u"previewScene"_s,
                  .value = scene,
                  .successMessage = scene + " is the preview scene"_L1,
                  .isDone = [&] { return session.state().previewScene() == scene; }});
}

// OBS's scene list selects the preview scene in studio mode.
Result selectScene(KestrelSession& session, const QString& property, const QString& scene)
{
    return session.state().isOn(u"studioMode"_s) ? setPreviewScene(session, property, scene)
                                                 : setProgramScene(session, property, scene);
}

Result unknownTransition(const KestrelSession& session, const QString& transition)
{
    return Commands::unknownName(u"there is no transition"_s, transition, session.state().transitionNames());
}

ChangeRequest transitionRequest(const KestrelSession& session, const QString& transition)
{
    return {.property = u"currentTransition"_s,
            .value = transition,
            .successMessage = transition + " is the transition"_L1,
            .isDone = [&session, transition] { return session.state().transition() == transition; },
            .hint = u"OBS ignores this while a transition is running; try again."_s};
}

Result setTransition(KestrelSession& session, const QString& /*property*/, const QString& transition)
{
    return session.state().transitionNames().contains(transition)
        ? apply(session, transitionRequest(session, transition))
        : unknownTransition(session, transition);
}

Result setTransitionDuration(KestrelSession& session, const QString& property, const QString& text)
{
    bool isNumber = false;
    const int duration_ms = text.toInt(&isNumber);
    if (!isNumber || duration_ms < Arguments::minimumDuration_ms || duration_ms > Arguments::maximumDuration_ms) {
        return Result::usageError(Arguments::durationError());
    }
    return apply(session,
                 {.property = property,
                  .value = duration_ms,
                  .successMessage = u"Transitions take %1 ms"_s.arg(duration_ms),
                  .isDone = [&] { return session.state().transitionDuration_ms() == duration_ms; }});
}

// Runs the transition of studio mode, with another one for this once if it is named.
Result runTransition(KestrelSession& session, const QString& with)
{
    const StudioState state = session.state();
    if (!state.isOn(u"studioMode"_s)) {
        return Result::failure(u"there is no transition to run outside studio mode"_s,
                               u"Turn it on with: kestrelctl studio on. Without it, kestrelctl scene NAME switches to "
                               "a scene."_s);
    }
    const QString previous = state.transition();
    const bool isReplaced = !with.isEmpty() && with != previous;
    if (isReplaced) {
        if (!state.transitionNames().contains(with)) {
            return unknownTransition(session, with);
        }
        if (Result result = requestAndWait(session, transitionRequest(session, with)); result.status != 0) {
            return result;
        }
    }

    const QString scene = state.previewScene();
    bool isStopped = false;
    const QObject context;
    QObject::connect(&session.client(), &KestrelClient::valueChanged, &context,
                     [&](const QString& name) { isStopped = isStopped || name == "triggerTransition"_L1; });
    Result result = requestAndWait(session,
                                   {.property = u"triggerTransition"_s,
                                    .value = true,
                                    .successMessage = scene + " is the program scene"_L1,
                                    .isDone = [&] { return isStopped && session.state().programScene() == scene; },
                                    .newValue = scene,
                                    .hint = u"OBS ignores this while another transition is running; try again."_s,
                                    .runsTransition = true});
    if (isReplaced && session.client().isConnected()) {
        const Result restored = requestAndWait(session, transitionRequest(session, previous));
        result = result.status == ExitStatus::done && restored.status != ExitStatus::done ? restored : result;
    }
    for (QJsonObject& object : result.json) {
        object["name"_L1] = "currentScene"_L1; // the property that has changed
    }
    return result;
}

Result triggerTransition(KestrelSession& session, const QString& /*property*/, const QString& /*text*/)
{
    return runTransition(session, {});
}

Result setSwitch(KestrelSession& session, const QString& property, bool on)
{
    return apply(session,
                 {.property = property,
                  .value = on ? 1 : 0,
                  .successMessage = Format::switchText(property, on),
                  .isDone = [&] { return session.state().isOn(property) == on; },
                  .newValue = on,
                  .hint = u"OBS may be showing a dialog that has to be answered first."_s});
}

Result setSwitchText(KestrelSession& session, const QString& property, const QString& text)
{
    if (text == "on"_L1 || text == "true"_L1 || text == "1"_L1) {
        return setSwitch(session, property, true);
    }
    if (text == "off"_L1 || text == "false"_L1 || text == "0"_L1) {
        return setSwitch(session, property, false);
    }
    return Result::usageError(property + " takes on or off"_L1);
}

Result showSwitch(KestrelSession& session, const QString& property)
{
    const KestrelClient& client = session.client();
    const bool isOn = session.state().isOn(property);
    Result result {.lines = {Format::switchText(property, isOn)}, .json = {Format::json(client, property)}};
    if (const QString time = property + "Time"_L1; !client.value(time).isUndefined()) {
        result.lines.first() += isOn ? ", "_L1 + Format::value(client, time) : QString();
        result.json.append(Format::json(client, time));
    }
    return result;
}

// What "set" takes.
struct WritableProperty
{
    QLatin1StringView name;
    QLatin1StringView value; // as in Command::arguments
    Result (*set)(KestrelSession&, const QString& property, const QString& text) = nullptr;
};

constexpr WritableProperty writableProperties[] {
    {"currentScene"_L1, "SCENE"_L1, setProgramScene},
    {"previewScene"_L1, "SCENE"_L1, setPreviewScene},
    {"sceneList"_L1, "SCENE"_L1, selectScene},
    {"currentTransition"_L1, "TRANSITION"_L1, setTransition},
    {"transitionsList"_L1, "TRANSITION"_L1, setTransition},
    {"transitionDuration"_L1, "MS"_L1, setTransitionDuration},
    {"triggerTransition"_L1, "on|off"_L1, triggerTransition},
    {"sourceVisibles"_L1, "MASK"_L1, Commands::setMask},
    {"sourceLocks"_L1, "MASK"_L1, Commands::setMask},
    {"streaming"_L1, "on|off"_L1, setSwitchText},
    {"recording"_L1, "on|off"_L1, setSwitchText},
    {"studioMode"_L1, "on|off"_L1, setSwitchText},
};

const WritableProperty* findWritable(const QString& name)
{
    const WritableProperty* const found
        = std::find_if(std::begin(writableProperties), std::end(writableProperties),
                       [&](const WritableProperty& property) { return property.name == name; });
    return found == std::end(writableProperties) ? nullptr : found;
}

Result setProperty(KestrelSession& session, const QString& name, const QString& text)
{
    if (const WritableProperty* const property = findWritable(name)) {
        return property->set(session, name, text);
    }
    const QStringList known = Commands::propertyNames();
    return known.contains(name) ? Result::failure(name + " can only be read"_L1)
                                : Commands::unknownName(u"there is no property"_s, name, known);
}

} // namespace

namespace Commands {

QStringList writablePropertyNames()
{
    QStringList names;
    for (const WritableProperty& property : writableProperties) {
        names.append(property.name);
    }
    return names;
}

QString valueNotation(const QString& property)
{
    const WritableProperty* const writable = findWritable(property);
    return writable != nullptr ? writable->value : QLatin1StringView();
}

Result set(KestrelSession& session, const Invocation& invocation)
{
    return setProperty(session, invocation.words[0], invocation.words[1]);
}

Result setOne(KestrelSession& session, const Invocation& invocation)
{
    return setProperty(session, invocation.command->property, invocation.words[0]);
}

Result changeSwitch(KestrelSession& session, const Invocation& invocation)
{
    const QString property = invocation.command->property;
    const QString word = invocation.words.value(0, u"status"_s);
    if (word == "status"_L1) {
        return showSwitch(session, property);
    }
    const bool isToggle = word == "toggle"_L1;
    return setSwitch(session, property,
                     isToggle ? !session.state().isOn(property) : word == "start"_L1 || word == "on"_L1);
}

Result transition(KestrelSession& session, const Invocation& invocation)
{
    if (invocation.words.isEmpty() && !invocation.duration_ms) {
        return transitions(session);
    }
    Result result;
    if (!invocation.words.isEmpty()) {
        result = setProperty(session, u"currentTransition"_s, invocation.words[0]);
    }
    if (result.status == ExitStatus::done && invocation.duration_ms) {
        const Result duration = setProperty(session, u"transitionDuration"_s, QString::number(*invocation.duration_ms));
        result = {duration.status, result.lines + duration.lines, result.json + duration.json, duration.error,
                  duration.hint};
    }
    return result;
}

Result go(KestrelSession& session, const Invocation& invocation)
{
    return runTransition(session, invocation.with);
}

Result cut(KestrelSession& session, const Invocation& /*invocation*/)
{
    return runTransition(session, u"Cut"_s);
}

} // namespace Commands
