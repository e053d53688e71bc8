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

void SceneOrderWatch::forget()
{
    m_rowsOut.clear();
    m_hasRowReturned = false;
}

void SceneOrderWatch::rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last)
{
    if (m_rowsOut.isEmpty()) {
        QMetaObject::invokeMethod(this, &SceneOrderWatch::check, Qt::QueuedConnection);
    }
    for (int row = first; row <= last; ++row) {
        m_rowsOut.append(m_model->index(row, 0, parent).data().toString());
    }
}

void SceneOrderWatch::rowsInserted(const QModelIndex& parent, int first, int last)
{
    for (int row = first; row <= last; ++row) {
        if (m_rowsOut.removeOne(m_model->index(row, 0, parent).data().toString())) {
            m_hasRowReturned = true;
        }
    }
}

void SceneOrderWatch::check()
{
    const bool isReordered = m_hasRowReturned && m_rowsOut.isEmpty();
    forget();
    if (isReordered) {
        emit reordered();
    }
}
