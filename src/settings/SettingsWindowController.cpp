#include "settings/SettingsWindowController.h"

#include "settings/Acknowledgements.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>

Q_LOGGING_CATEGORY(lcSettings, "tarnwick.settings", QtWarningMsg)

#ifndef TARNWICK_BUILD_ID
#define TARNWICK_BUILD_ID "dev"
#endif

SettingsWindowController::SettingsWindowController(QQmlEngine &engine, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
{
    setInstance(this);
}

SettingsWindowController::~SettingsWindowController()
{
    delete m_window;
    if (instance() == this)
        setInstance(nullptr);
}

void SettingsWindowController::show()
{
    if (!m_window) {
        QQmlComponent component(&m_engine, QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/SettingsView.qml")));
        QObject *object = component.create();
        m_window = qobject_cast<QQuickWindow *>(object);
        if (!m_window) {
            qCWarning(lcSettings) << component.errorString();
            delete object;
            return;
        }
    }
    m_window->show();
    // Off screen (tests, the self-test) there is nothing to raise.
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        m_window->raise();
        m_window->requestActivate();
    }
}

void SettingsWindowController::close()
{
    if (m_window)
        m_window->close();
}

QString SettingsWindowController::version() const
{
    return QStringLiteral(TARNWICK_VERSION);
}

QString SettingsWindowController::build() const
{
    return QStringLiteral(TARNWICK_BUILD_ID);
}

QVariantList SettingsWindowController::acknowledgements() const
{
    QVariantList out;
    for (const auto &c : Acknowledgements::components()) {
        out.append(QVariantMap{{QStringLiteral("name"), c.name},
                               {QStringLiteral("use"), c.use},
                               {QStringLiteral("licence"), c.licence}});
    }
    return out;
}

QString SettingsWindowController::notice(int index) const
{
    const auto all = Acknowledgements::components();
    if (index < 0 || index >= all.size())
        return {};
    return Acknowledgements::notice(all.at(index));
}
