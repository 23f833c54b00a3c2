#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

// The two halves of the open Nook as drop targets: keep in the tray (left)
// or send to a nearby device (right).
namespace DropZoneEnum {
Q_NAMESPACE
QML_NAMED_ELEMENT(DropZone)
enum class Value { Tray, AirDrop };
Q_ENUM_NS(Value)
} // namespace DropZoneEnum
using DropZone = DropZoneEnum::Value;
