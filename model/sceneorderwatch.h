// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>

class QAbstractItemModel;
class QModelIndex;

// Emits a signal when the user has changed the order of the scenes in OBS's scene list.
//
// Dragging a scene moves rows of the list's model. OBS's Up and Down buttons remove a row and insert it again, without
// a front-end event. Adding or removing a scene also changes rows, but OBS raises an event for it. So the names of
// removed rows are recorded until the next turn of the event loop. If a row was reinserted and none is missing by then,
// the list has been reordered.
class SceneOrderWatch : public QObject
{
    Q_OBJECT

public:
    // The model may be destroyed first.
    explicit SceneOrderWatch(QAbstractItemModel* model);

    // Drops the recorded rows. Call it when OBS has raised an event for the list, or has replaced the whole list.
    void discardRows();

signals:
    void reordered();

private:
    void rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last);
    void rowsInserted(const QModelIndex& parent, int first, int last);
    void check();

    QPointer<QAbstractItemModel> m_model;
    QStringList m_removedRows;
    bool m_wasRowReinserted = false;
};
