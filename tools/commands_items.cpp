// SPDX-License-Identifier: GPL-2.0-or-later
//
// The commands that change the items of the scene on air, by a mask for all of them.
#include "commands.h"
#include "exitstatus.h"
#include "report.h"
#include "wish.h"

#include <limits>

using namespace Qt::StringLiterals;

namespace {

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

} // namespace

namespace Commands {

int setMask(Session& session, const QString& property, const QString& text)
{
    const ItemState& state = property == locks.property ? locks : visibility;
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

} // namespace Commands
