#include "tray/TrayItemList.h"

void TrayItemList::setItems(const TrayItems &items)
{
    if (items == m_items)
        return;
    const int before = count();
    beginResetModel();
    m_items = items;
    endResetModel();
    if (count() != before)
        Q_EMIT countChanged();
}

int TrayItemList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant TrayItemList::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    return TrayItem::data(m_items.at(index.row()), role);
}

QHash<int, QByteArray> TrayItemList::roleNames() const
{
    return TrayItem::roleNames();
}
