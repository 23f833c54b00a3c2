#pragma once

#include <QProcess>
#include <QString>

// A dbus-daemon of the test's own, standing in for the session or the system
// bus; stopped with the object. Needs a QCoreApplication.
class PrivateBus
{
public:
    ~PrivateBus();

    // Empty on success, else what went wrong (naming the Debian package).
    QString start();
    QString address() const { return m_address; }
    qint64 pid() const { return m_process.processId(); }

private:
    QProcess m_process;
    QString m_address;
};
