// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that change items of the program scene, with one mask for all of them.
#include "changerequest.h"
#include "commandtable.h"
#include "terminal.h"

#include <limits>

namespace {

// One of the two states of every item.
struct ItemState
{
    QLatin1StringView property;
    bool SceneItem::*isSet = nullptr;
    QLatin1StringView setText;
    QLatin1StringView clearText;
};

constexpr ItemState visibility {"sourceVisibles"_L1, &SceneItem::isVisible, "shown"_L1, "hidden"_L1};
constexpr ItemState locks {"sourceLocks"_L1, &SceneItem::isLocked, "locked"_L1, "unlocked"_L1};

QList<bool> current(const KestrelSession& session, const ItemState& state)
{
    QList<bool> current;
    const QList<SceneItem> items = session.state().items(session.state().programScene());
    for (const SceneItem& item : items) {
        current.append(item.*state.isSet);
    }
    return current;
}

Result applyMask(KestrelSession& session, const ItemState& state, const QList<bool>& wanted, const QString& message)
{
    return apply(
        session,
        {.property = state.property, .value = StudioState::itemMask(wanted), .successMessage = message, .isDone = [&] {
             return current(session, state) == wanted;
         }});
}

// The item that has the name, or else the one at that position from the top, the first being 1. Returns its index, or
// -1 and an error.
std::pair<qsizetype, Result> findItem(const QList<SceneItem>& items, const QString& text)
{
    QStringList names;
    QStringList positions;
    for (qsizetype i = 0; i < items.size(); ++i) {
        names.append(items[i].name);
        if (items[i].name == text) {
            positions.append(QString::number(i + 1));
        }
    }
    if (positions.size() > 1) {
        return {-1,
                Result::failure(u"%1 items are named \"%2\""_s.arg(positions.size()).arg(text),
                                u"Give the position of one: %1"_s.arg(positions.join(", "_L1)))};
    }
    const qsizetype position = positions.isEmpty() ? text.toLongLong() : positions.first().toLongLong();
    if (position < 1 || position > items.size()) {
        return {-1, Commands::unknownName(u"the program scene has no item"_s, text, names)};
    }
    return {position - 1, {}};
}

// One mask is for all items, so it has to be right for every two that share a bit, named or not.
Result sharedBitError(const QList<SceneItem>& items, const QList<bool>& wanted)
{
    for (qsizetype i = StudioState::maskWidth_bits; i < wanted.size(); ++i) {
        const qsizetype other = i - StudioState::maskWidth_bits;
        if (wanted[i] != wanted[other]) {
            return Result::failure(
                u"items %1 (%2) and %3 (%4) can only be changed together"_s.arg(other + 1)
                    .arg(items[other].name)
                    .arg(i + 1)
                    .arg(items[i].name),
                u"The plug-in has %1 bits for the items of a scene. Give both, or change one of them in OBS."_s.arg(
                    StudioState::maskWidth_bits));
        }
    }
    return {};
}

} // namespace

namespace Commands {

Result setMask(KestrelSession& session, const QString& property, const QString& text)
{
    const ItemState& state = property == locks.property ? locks : visibility;
    bool isNumber = false;
    const qlonglong mask = text.toLongLong(&isNumber);
    if (!isNumber || mask < std::numeric_limits<qint32>::min() || mask > std::numeric_limits<quint32>::max()) {
        return Result::usageError(u"%1 takes a number of 32 bits"_s.arg(state.property));
    }
    QList<bool> wanted = current(session, state);
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        wanted[i] = StudioState::isSet(static_cast<qint32>(mask), i);
    }
    return applyMask(session, state, wanted, u"%1 is %2"_s.arg(state.property).arg(StudioState::itemMask(wanted)));
}

Result items(KestrelSession& session, const Invocation& invocation)
{
    const QLatin1StringView command = invocation.command->name;
    const ItemState& state = command.endsWith("lock"_L1) ? locks : visibility;
    const QList<SceneItem> items = session.state().items(session.state().programScene());
    const QList<bool> before = current(session, state);

    QList<bool> wanted = before;
    QStringList set;
    QStringList cleared;
    for (const QString& word : invocation.words) {
        auto [index, error] = findItem(items, word);
        if (index < 0) {
            return error;
        }
        const bool isSet = command == "toggle"_L1 ? !before[index] : command == "show"_L1 || command == "lock"_L1;
        wanted[index] = isSet;
        (isSet ? set : cleared).append(items[index].name);
    }
    if (Result error = sharedBitError(items, wanted); error.status != ExitStatus::done) {
        return error;
    }
    QStringList phrases;
    for (const auto& [names, text] : {std::pair {set, state.setText}, std::pair {cleared, state.clearText}}) {
        if (!names.isEmpty()) {
            phrases.append(names.join(", "_L1) + (names.size() == 1 ? " is "_L1 : " are "_L1) + text);
        }
    }
    return applyMask(session, state, wanted, phrases.join("; "_L1));
}

} // namespace Commands
