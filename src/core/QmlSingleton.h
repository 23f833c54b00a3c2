#pragma once

#include <QJSEngine>
#include <QQmlEngine>

// Services reach QML as singletons that are the one instance the application
// owns: the class derives from QmlSingleton<Itself>, declares QML_SINGLETON,
// and the owner calls setInstance() before any QML is loaded. QML never owns
// or deletes it.
template<typename T>
class QmlSingleton
{
public:
    static T *create(QQmlEngine *, QJSEngine *)
    {
        Q_ASSERT_X(s_instance != nullptr, "QmlSingleton", "setInstance() must run before QML uses the service");
        QJSEngine::setObjectOwnership(s_instance, QJSEngine::CppOwnership);
        return s_instance;
    }
    static void setInstance(T *instance) { s_instance = instance; }
    static T *instance() { return s_instance; }

private:
    static inline T *s_instance = nullptr;
};
