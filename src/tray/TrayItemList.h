#pragma once

#include "tray/TrayItem.h"

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

// A list of items for a view to lay out: a feed's files.
class TrayItemList : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Provided by FileFeeds")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    using QAbstractListModel::QAbstractListModel;

    const TrayItems &items() const { return m_items; }
    int count() const { return int(m_items.size()); }
    // Replaces the whole list; nothing is announced when it is the same.
    void setItems(const TrayItems &items);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    TrayItems m_items;
};
