#pragma once

class QQmlEngine;

// Every engine that shows Tarnwick's views goes through here, so that
// `import Tarnwick` finds the whole module (its QML files too) wherever the
// view is loaded from.
namespace QmlModule {
void prepare(QQmlEngine &engine);
}
