#include "core/QmlModule.h"

#include <QQmlEngine>

void QmlModule::prepare(QQmlEngine &engine)
{
    // Qt 6.5 searches the module resources by default; 6.4, Debian 12's, does not.
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
}
