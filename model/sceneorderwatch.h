// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>

class QAbstractItemModel;
class QModelIndex;

// Tells when the user has put the scenes of the host's list into another order.
//
// Dragging a scene moves rows of the list's model; the host's Up and Down buttons take a row out and put it in again,
// with no front-end event. Scenes that are added or removed also change rows, but are the host's to announce. So rows
// that went out are remembered by name, and once the event loop turns, a list that is whole again and in which a
// row came back has been reordered.
class SceneOrderWatch : public QObject
{
    Q_OBJECT

public:
    // The model may end before the watch.
    explicit SceneOrderWatch(QAbstractItemModel* model);

    // The host has announced the list itself, or replaced all of it: what was seen so far is known to everybody.
    void forget();

signals:
    void reordered();

private:
    void rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last);
    void rowsInserted(const QModelIndex& parent, int first, int last);
    void check();

    QPointer<QAbstractItemModel> m_model;
    QStringList m_rowsOut;
    bool m_hasRowReturned = false;
};
