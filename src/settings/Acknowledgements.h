#pragma once

#include <QList>
#include <QString>

// The open-source components Tarnwick is built on, with their licences.
// Full notices are read from the Debian packages that ship them.
namespace Acknowledgements {

struct Component
{
    QString name;
    QString use;
    QString licence;
    // Debian package whose copyright file holds the full notice.
    QString package;
};

QList<Component> components();

// The full notice, or a one-line stand-in when the file can't be read.
QString notice(const Component &component, const QString &docRoot = QStringLiteral("/usr/share/doc"));

} // namespace Acknowledgements
