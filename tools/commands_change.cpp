// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that change scenes, transitions and outputs.
#include "commandtable.h"
#include "format.h"

namespace {

constexpr auto busyHint = "OBS ignores this while a transition is running; try again."_L1;

// A property that takes one of the names that OBS has.
struct Choice
{
    QLatin1StringView property;
    QLatin1StringView kind;
    QLatin1StringView title;
    QStringList (StudioState::*names)() const = nullptr;
    QString (StudioState::*current)() const = nullptr;
    QLatin1StringView hint {}; // when OBS does not confirm it
    bool runsTransition = false;
};

constexpr Choice programScene {
    "currentScene"_L1, "scene"_L1, "program scene"_L1, &StudioState::sceneNames, &StudioState::programScene,
    busyHint,          true};
constexpr Choice previewScene {"previewScene"_L1, "scene"_L1, "preview scene"_L1, &StudioState::sceneNames,
                               &StudioState::previewScene};
constexpr Choice currentTransition {"currentTransition"_L1,        "transition"_L1,          "transition"_L1,
                                    &StudioState::transitionNames, &StudioState::transition, busyHint};

Result choose(KestrelSession& session, const Choice& choice, const QString& name)
{
    const StudioState state = session.state();
    const QStringList known = (state.*choice.names)();
    if (!known.contains(name)) {
        throw Commands::unknownName(u"there is no %1"_s.arg(choice.kind), name, known);
    }
    const auto isDone = [&] { return (state.*choice.current)() == name; };
    const QString message = u"%1 is the %2"_s.arg(name, choice.title);
    return Commands::apply(session, {choice.property, name, message, isDone, choice.hint, choice.runsTransition});
}

Result setScene(KestrelSession& session, const QString& property, const QString& scene)
{
    const bool isStudioMode = session.state().isOn(u"studioMode"_s);
    if (property == previewScene.property && !isStudioMode) {
        throw Result::failure(u"there is no preview scene outside studio mode"_s,
                              u"Turn it on with: kestrelctl studio on"_s);
    }
    // OBS's scene list selects the preview scene in studio mode.
    const bool isProgram = property == programScene.property || !isStudioMode;
    return choose(session, isProgram ? programScene : previewScene, scene);
}

Result setTransition(KestrelSession& session, const QString& /*property*/, const QString& transition)
{
    return choose(session, currentTransition, transition);
}

Result setTransitionDuration(KestrelSession& session, const QString& property, const QString& text)
{
    const int duration_ms = Commands::duration_ms(text);
    const auto isDone = [&] { return session.state().transitionDuration_ms() == duration_ms; };
    const QString message = u"Transitions take %1 ms"_s.arg(duration_ms);
    return Commands::apply(session, {property, duration_ms, message, isDone});
}

// Runs the transition of studio mode, with another one for this once if it is named.
Result runTransition(KestrelSession& session, const QString& with)
{
    const StudioState state = session.state();
    if (!state.isOn(u"studioMode"_s)) {
        throw Result::failure(u"there is no transition to run outside studio mode"_s,
                              u"Turn it on with: kestrelctl studio on. Without it, kestrelctl scene NAME switches to "
                              "a scene."_s);
    }
    const QString previous = state.transition();
    const bool isReplaced = !with.isEmpty() && with != previous;
    Result result = isReplaced ? choose(session, currentTransition, with) : Result();
    if (result.status != ExitStatus::done) {
        return result;
    }

    const QString scene = state.previewScene();
    bool isStopped = false;
    const QObject context;
    QObject::connect(&session.client(), &KestrelClient::valueChanged, &context,
                     [&](const QString& name) { isStopped = isStopped || name == "triggerTransition"_L1; });
    const auto isDone = [&] { return isStopped && state.programScene() == scene; };
    const QString message = scene + " is the program scene"_L1;
    const QString hint = u"OBS ignores this while another transition is running; try again."_s;
    const QJsonObject change {{"name"_L1, programScene.property}, {"value"_L1, scene}};
    result = Commands::apply(session, {u"triggerTransition"_s, true, message, isDone, hint, true, change});
    if (isReplaced && session.client().isConnected()) {
        const Result restored = choose(session, currentTransition, previous);
        result = result.status == ExitStatus::done && restored.status != ExitStatus::done ? restored : result;
    }
    return result;
}

Result triggerTransition(KestrelSession& session, const QString& /*property*/, const QString& /*text*/)
{
    return runTransition(session, {});
}

// "Recording is on"
QString switchText(const QString& property, bool on)
{
    const QString title = property == "studioMode"_L1 ? u"Studio mode"_s : property.left(1).toUpper() + property.mid(1);
    return title + (on ? " is on"_L1 : " is off"_L1);
}

Result setSwitch(KestrelSession& session, const QString& property, const QString& text)
{
    const bool on = QStringList {u"on"_s, u"true"_s, u"1"_s}.contains(text);
    if (!on && !QStringList {u"off"_s, u"false"_s, u"0"_s}.contains(text)) {
        throw Result::usageError(property + " takes on or off"_L1);
    }
    const auto isDone = [&] { return session.state().isOn(property) == on; };
    const QString hint = u"OBS may be showing a dialog that has to be answered first."_s;
    const QJsonObject change {{"name"_L1, property}, {"value"_L1, on}};
    return Commands::apply(session, {property, on ? 1 : 0, switchText(property, on), isDone, hint, false, change});
}

// What "set" takes.
struct WritableProperty
{
    QLatin1StringView name;
    QLatin1StringView value; // as in Command::arguments
    Result (*set)(KestrelSession&, const QString& property, const QString& text) = nullptr;
};

constexpr WritableProperty writableProperties[] {
    {"currentScene"_L1, "SCENE"_L1, setScene},
    {"previewScene"_L1, "SCENE"_L1, setScene},
    {"sceneList"_L1, "SCENE"_L1, setScene},
    {"currentTransition"_L1, "TRANSITION"_L1, setTransition},
    {"transitionsList"_L1, "TRANSITION"_L1, setTransition},
    {"transitionDuration"_L1, "MS"_L1, setTransitionDuration},
    {"triggerTransition"_L1, "on|off"_L1, triggerTransition},
    {"sourceVisibles"_L1, "MASK"_L1, Commands::setMask},
    {"sourceLocks"_L1, "MASK"_L1, Commands::setMask},
    {"streaming"_L1, "on|off"_L1, setSwitch},
    {"recording"_L1, "on|off"_L1, setSwitch},
    {"studioMode"_L1, "on|off"_L1, setSwitch},
};

Result setProperty(KestrelSession& session, const QString& name, const QString& text)
{
    if (const WritableProperty* const property = findRow(writableProperties, name)) {
        return property->set(session, name, text);
    }
    const QStringList known = Commands::propertyNames();
    throw known.contains(name) ? Result::failure(name + " can only be read"_L1)
                               : Commands::unknownName(u"there is no property"_s, name, known);
}

} // namespace

namespace Commands {

Result apply(KestrelSession& session, const ChangeRequest& request)
{
    const std::chrono::milliseconds transition(request.runsTransition ? session.state().transitionDuration_ms() : 0);
    const std::chrono::milliseconds limit = session.timeout() + transition;
    const bool isChanged = !request.isDone();
    if (isChanged && !session.client().set(request.property, request.value)) {
        return connectionLost(session);
    }
    if (!session.waitFor(request.isDone, limit)) {
        const double limit_s = std::chrono::duration<double>(limit).count();
        return session.errorString().isEmpty()
            ? Result::failure(u"not confirmed within %1 s: %2"_s.arg(limit_s).arg(request.successMessage), request.hint)
            : connectionLost(session);
    }
    QJsonObject change = request.change;
    if (change.isEmpty()) {
        change = {{"name"_L1, request.property}, {"value"_L1, request.value}};
    }
    change["changed"_L1] = isChanged;
    return {.lines = {Terminal::printable(request.successMessage) + (isChanged ? QString() : u" already"_s)},
            .json = {change}};
}

QStringList writablePropertyNames()
{
    return rowNames(writableProperties);
}

QString valueNotation(const QString& property)
{
    const WritableProperty* const writable = findRow(writableProperties, property);
    return writable != nullptr ? writable->value : QLatin1StringView();
}

Result set(KestrelSession& session, const Invocation& invocation)
{
    const QString property = invocation.command->property;
    return setProperty(session, property.isEmpty() ? invocation.words[0] : property, invocation.words.last());
}

Result changeSwitch(KestrelSession& session, const Invocation& invocation)
{
    const QString property = invocation.command->property;
    const QString word = invocation.words.value(0, u"status"_s);
    const bool isOn = session.state().isOn(property);
    if (word != "status"_L1) {
        const bool on = word == "toggle"_L1 ? !isOn : word == "start"_L1 || word == "on"_L1;
        return setSwitch(session, property, on ? u"on"_s : u"off"_s);
    }
    const KestrelClient& client = session.client();
    Result result {.lines = {switchText(property, isOn)}, .json = {Format::json(client, property)}};
    if (const QString time = property + "Time"_L1; !client.value(time).isUndefined()) {
        result.lines.first() += isOn ? ", "_L1 + Format::value(client, time) : QString();
        result.json.append(Format::json(client, time));
    }
    return result;
}

Result transition(KestrelSession& session, const Invocation& invocation)
{
    Result result;
    if (!invocation.words.isEmpty()) {
        result = choose(session, currentTransition, invocation.words[0]);
    } else if (!invocation.duration_ms) {
        const StudioState state = session.state();
        QList<QList<Format::Cell>> rows;
        for (const QString& name : state.transitionNames()) {
            const QString duration = u"current, %1 ms"_s.arg(state.transitionDuration_ms());
            const bool isCurrent = name == state.transition();
            rows.append(
                {{name, isCurrent ? Style::strong : Style::plain}, {isCurrent ? duration : QString(), Style::preview}});
        }
        return {.lines = Format::table(rows), .json = {Format::json(session.client(), u"transitionsList"_s)}};
    }
    if (result.status == ExitStatus::done && invocation.duration_ms) {
        Terminal::print(result, invocation.isJson);
        result = setProperty(session, u"transitionDuration"_s, QString::number(*invocation.duration_ms));
    }
    return result;
}

Result go(KestrelSession& session, const Invocation& invocation)
{
    return runTransition(session, invocation.command->name == "cut"_L1 ? u"Cut"_s : invocation.with);
}

} // namespace Commands
