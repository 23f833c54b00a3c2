#pragma once

#include <QList>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// What the tray page shows: the user's own tray, the Downloads folder, or
// the files opened lately. The order is the order of the source picker.
namespace TraySourceEnum {
Q_NAMESPACE
QML_NAMED_ELEMENT(TraySource)
enum class Value { Dropped, Downloads, Recent };
Q_ENUM_NS(Value)
} // namespace TraySourceEnum
using TraySource = TraySourceEnum::Value;

inline const QList<TraySource> &allTraySources()
{
    static const QList<TraySource> all{TraySource::Dropped, TraySource::Downloads, TraySource::Recent};
    return all;
}
