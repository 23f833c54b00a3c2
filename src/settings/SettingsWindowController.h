#pragma once

#include "core/QmlSingleton.h"

#include <QObject>
#include <QPointer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

class QQmlEngine;
#include <QQuickWindow>

// The one "Tarnwick Settings" window: made on first use, brought to the
// front on every later open.
class SettingsWindowController : public QObject, public QmlSingleton<SettingsWindowController>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(QString build READ build CONSTANT)
    Q_PROPERTY(QVariantList acknowledgements READ acknowledgements CONSTANT)

public:
    explicit SettingsWindowController(QQmlEngine &engine, QObject *parent = nullptr);
    ~SettingsWindowController() override;

    void show();
    QQuickWindow *window() const { return m_window; }

    QString version() const;
    QString build() const;
    QVariantList acknowledgements() const;
    Q_INVOKABLE QString notice(int index) const;
    Q_INVOKABLE void close();

private:
    QQmlEngine &m_engine;
    QPointer<QQuickWindow> m_window;
};
