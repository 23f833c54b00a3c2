#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

// The pages of the open Nook, in the order they can appear.
namespace NookPageEnum {
Q_NAMESPACE
QML_NAMED_ELEMENT(NookPage)
enum class Value { Media, Tray };
Q_ENUM_NS(Value)
} // namespace NookPageEnum
using NookPage = NookPageEnum::Value;
