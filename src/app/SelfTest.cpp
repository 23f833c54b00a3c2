#include "app/SelfTest.h"

#include "core/QmlModule.h"
#include "notch/NotchViewModel.h"

#include <QDirIterator>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <cstdio>
#include <memory>

namespace {

int g_problems = 0;
QtMessageHandler g_previous = nullptr;

void countingHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        ++g_problems;
    if (g_previous != nullptr)
        g_previous(type, context, message);
}

} // namespace

int SelfTest::run(NotchViewModel &model)
{
    g_previous = qInstallMessageHandler(countingHandler);
    QQmlEngine engine;
    QmlModule::prepare(engine);
    QObject::connect(&engine, &QQmlEngine::warnings, [](const QList<QQmlError> &warnings) {
        for (const QQmlError &w : warnings)
            std::fprintf(stderr, "self-test: %s\n", qPrintable(w.toString()));
        g_problems += int(warnings.size());
    });

    int files = 0;
    QDirIterator it(QStringLiteral(":/qt/qml/Tarnwick"), {QStringLiteral("*.qml")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        ++files;
        QFile source(path);
        source.open(QIODevice::ReadOnly);
        QQmlComponent component(&engine);
        if (source.readAll().contains("pragma Singleton")) {
            // A singleton cannot be a component of its own: reach it by name.
            const QString name = QFileInfo(path).completeBaseName();
            component.setData(QStringLiteral("import QtQuick\nimport Tarnwick\nQtObject { property var probe: %1 }").arg(name).toUtf8(), QUrl(QStringLiteral("qrc:/selftest/probe-of-%1.qml").arg(name)));
            std::unique_ptr<QObject> probe(component.create());
            if (!probe || !probe->property("probe").value<QObject *>())
                ++g_problems;
        } else {
            component.loadUrl(QUrl(QStringLiteral("qrc") + path));
        }
        if (component.isError()) {
            for (const QQmlError &e : component.errors())
                std::fprintf(stderr, "self-test: %s\n", qPrintable(e.toString()));
            ++g_problems;
        }
    }

    // Show the root view as the app does, so bindings are evaluated too.
    QQmlComponent root(&engine, QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/NotchRootView.qml")));
    std::unique_ptr<QObject> view(root.createWithInitialProperties({{QStringLiteral("model"), QVariant::fromValue(&model)}}));
    if (!view) {
        for (const QQmlError &e : root.errors())
            std::fprintf(stderr, "self-test: %s\n", qPrintable(e.toString()));
        ++g_problems;
    } else {
        QQuickWindow window;
        auto *item = qobject_cast<QQuickItem *>(view.get());
        const QSizeF size = model.geometry().windowSize();
        window.resize(size.toSize());
        item->setParentItem(window.contentItem());
        item->setSize(size);
        // Open and close once, so the animated bindings run as well.
        model.expand();
        QEventLoop loop;
        QTimer::singleShot(300, &loop, &QEventLoop::quit);
        loop.exec();
        model.collapse();
        QTimer::singleShot(300, &loop, &QEventLoop::quit);
        loop.exec();
    }

    qInstallMessageHandler(g_previous);
    std::fprintf(stderr, "self-test: %d QML files, %d problems\n", files, g_problems);
    return g_problems == 0 && files > 0 ? 0 : 1;
}
