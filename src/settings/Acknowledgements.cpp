#include "settings/Acknowledgements.h"

#include <QFile>

namespace Acknowledgements {

QList<Component> components()
{
    // What Tarnwick links or ships today; a library joins this list in the
    // change that starts linking it.
    return {
        {QStringLiteral("Qt"), QStringLiteral("windows, views, D-Bus, images"),
         QStringLiteral("GNU LGPL 3.0 or GNU GPL 2.0 or later"), QStringLiteral("libqt6core6")},
        {QStringLiteral("Qt Quick"), QStringLiteral("the Nook's views"),
         QStringLiteral("GNU LGPL 3.0 or GNU GPL 2.0 or later"), QStringLiteral("libqt6qml6")},
        {QStringLiteral("libxcb"), QStringLiteral("the panel's window hints and input shape"),
         QStringLiteral("MIT"), QStringLiteral("libxcb1")},
        {QStringLiteral("libpulse"), QStringLiteral("system volume"), QStringLiteral("GNU LGPL 2.1 or later"),
         QStringLiteral("libpulse0")},
        {QStringLiteral("libical"), QStringLiteral("calendars"), QStringLiteral("GNU LGPL 2.1 or MPL 2.0"),
         QStringLiteral("libical3")},
        {QStringLiteral("TagLib"), QStringLiteral("covers and tags of your own music files"),
         QStringLiteral("GNU LGPL 2.1 or MPL 1.1"), QStringLiteral("libtag1v5")},
        {QStringLiteral("Material Icons"), QStringLiteral("the symbols of every button"),
         QStringLiteral("Apache License 2.0"), QStringLiteral("fonts-material-design-icons-iconfont")},
    };
}

QString notice(const Component &component, const QString &docRoot)
{
    QFile file(docRoot + QLatin1Char('/') + component.package + QStringLiteral("/copyright"));
    if (file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString::fromUtf8(file.readAll()).trimmed();
    return QStringLiteral("%1 is used under the %2. Its full notice ships with the Debian package %3.")
        .arg(component.name, component.licence, component.package);
}

} // namespace Acknowledgements
