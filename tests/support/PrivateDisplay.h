#pragma once

#include <QByteArray>
#include <sys/types.h>

// A private X server (Xvfb) for tests that need real windows. It can start
// before any QGuiApplication exists, which is when DISPLAY must be set. The
// server picks a free display itself (-displayfd), so parallel tests never
// collide. Stopped with the object.
class PrivateDisplay
{
public:
    PrivateDisplay() = default;
    PrivateDisplay(const PrivateDisplay &) = delete;
    PrivateDisplay &operator=(const PrivateDisplay &) = delete;
    ~PrivateDisplay();

    // Starts the server and points DISPLAY at it; false (with a message on
    // standard error naming the Debian package) when it cannot.
    bool start(const QByteArray &screen = QByteArrayLiteral("1280x800x24"));

private:
    pid_t m_pid = 0;
};
