// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that change items of the program scene, with one mask for all of them.
#include "commandtable.h"

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

QList<bool> current(const StudioState& studio, const ItemState& state)
{
    QList<bool> current;
    for (const SceneItem& item : studio.programItems()) {
        current.append(item.*state.isSet);
    }
    return current;
}

Result applyMask(KestrelSession& session, const ItemState& state, const QList<bool>& wanted, const QString& message)
{
    const auto isDone = [&] { return current(session.state(), state) == wanted; };
    return Commands::apply(session, {state.property, StudioState::itemMask(wanted), message, isDone});
}

// The index of the item that has the name, or else of that at the position from the top, the first being 1.
qsizetype findItem(const QStringList& names, const QString& text)
{
    QStringList positions;
    for (qsizetype i = 0; i < names.size(); ++i) {
        if (names[i] == text) {
            positions.append(QString::number(i + 1));
        }
    }
    if (positions.size() > 1) {
        throw Result::failure(u"%1 items are named \"%2\""_s.arg(positions.size()).arg(text),
                              u"Give the position of one: %1"_s.arg(positions.join(", "_L1)));
    }
    const qlonglong position = positions.value(0, text).toLongLong();
    if (position < 1 || position > names.size()) {
        throw Commands::unknownName(u"the program scene has no item"_s, text, names);
    }
    return position - 1;
}

// One mask is for all items, so it has to be right for every two that share a bit, named or not.
void checkSharedBits(const QStringList& names, const QList<bool>& wanted)
{
    for (qsizetype i = StudioState::maskWidth_bits; i < wanted.size(); ++i) {
        const qsizetype other = i - StudioState::maskWidth_bits;
        if (wanted[i] != wanted[other]) {
            throw Result::failure(
                u"items %1 (%2) and %3 (%4) can only be changed together"_s.arg(
                    QString::number(other + 1), names[other], QString::number(i + 1), names[i]),
                u"The plug-in has %1 bits for the items of a scene. Give both, or change one of them in OBS."_s.arg(
                    StudioState::maskWidth_bits));
        }
    }
}

} // namespace

namespace Commands {

Result setMask(KestrelSession& session, const QString& property, const QString& text)
{
    const ItemState& state = property == locks.property ? locks : visibility;
    const qint64 mask = number(text, std::numeric_limits<qint32>::min(), std::numeric_limits<quint32>::max(),
                               u"%1 takes a number of 32 bits"_s.arg(state.property));
    QList<bool> wanted(session.state().programItems().size());
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        wanted[i] = StudioState::isSet(static_cast<qint32>(mask), i);
    }
    return applyMask(session, state, wanted, u"%1 is %2"_s.arg(state.property).arg(StudioState::itemMask(wanted)));
}

Result items(KestrelSession& session, const Invocation& invocation)
{
    const QLatin1StringView command = invocation.command->name;
    const ItemState& state = command.endsWith("lock"_L1) ? locks : visibility;
    const QStringList names = session.state().programItemNames();
    const QList<bool> before = current(session.state(), state);

    QList<bool> wanted = before;
    QStringList set;
    QStringList cleared;
    for (const QString& word : invocation.words) {
        const qsizetype index = findItem(names, word);
        wanted[index] = command == "toggle"_L1 ? !before[index] : command == "show"_L1 || command == "lock"_L1;
        (wanted[index] ? set : cleared).append(names[index]);
    }
    checkSharedBits(names, wanted);
    QStringList phrases;
    for (const auto& [changed, text] : {std::pair {set, state.setText}, std::pair {cleared, state.clearText}}) {
        if (!changed.isEmpty()) {
            phrases.append(changed.join(", "_L1) + (changed.size() == 1 ? " is "_L1 : " are "_L1) + text);
        }
    }
    return applyMask(session, state, wanted, phrases.join("; "_L1));
}

} // namespace Commands
