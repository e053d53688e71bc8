// SPDX-License-Identifier: GPL-2.0-or-later
#include "sceneorderwatch.h"

#include <QAbstractItemModel>

SceneOrderWatch::SceneOrderWatch(QAbstractItemModel* model)
    : m_model(model)
{
    connect(model, &QAbstractItemModel::rowsMoved, this, &SceneOrderWatch::reordered);
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &SceneOrderWatch::rowsAboutToBeRemoved);
    connect(model, &QAbstractItemModel::rowsInserted, this, &SceneOrderWatch::rowsInserted);
}

void SceneOrderWatch::discardRows()
{
    m_removedRows.clear();
    m_wasRowReinserted = false;
}

void SceneOrderWatch::rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last)
{
    if (m_removedRows.isEmpty()) {
        QMetaObject::invokeMethod(this, &SceneOrderWatch::check, Qt::QueuedConnection);
    }
    for (int row = first; row <= last; ++row) {
        m_removedRows.append(m_model->index(row, 0, parent).data().toString());
    }
}

void SceneOrderWatch::rowsInserted(const QModelIndex& parent, int first, int last)
{
    for (int row = first; row <= last; ++row) {
        if (m_removedRows.removeOne(m_model->index(row, 0, parent).data().toString())) {
            m_wasRowReinserted = true;
        }
    }
}

void SceneOrderWatch::check()
{
    const bool isReordered = m_wasRowReinserted && m_removedRows.isEmpty();
    discardRows();
    if (isReordered) {
        emit reordered();
    }
}
