#include "support/PrivateDisplay.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

PrivateDisplay::~PrivateDisplay()
{
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

bool PrivateDisplay::start(const QByteArray &screen)
{
    if (access("/usr/bin/Xvfb", X_OK) != 0) {
        std::fprintf(stderr, "FAIL: /usr/bin/Xvfb is missing (Debian package: xvfb)\n");
        return false;
    }
    int fds[2];
    if (pipe(fds) != 0)
        return false;
    m_pid = fork();
    if (m_pid == 0) {
        close(fds[0]);
        const QByteArray fd = QByteArray::number(fds[1]);
        execl("/usr/bin/Xvfb", "Xvfb", "-displayfd", fd.constData(), "-screen", "0", screen.constData(), "-nolisten",
              "tcp", static_cast<char *>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    // The number comes as a line once the server is ready; read all of it
    // before closing, or the server dies writing the rest.
    QByteArray line;
    char c = 0;
    while (read(fds[0], &c, 1) == 1 && c != '\n')
        line.append(c);
    close(fds[0]);
    bool ok = false;
    line.toInt(&ok);
    if (!ok) {
        std::fprintf(stderr, "FAIL: Xvfb did not start\n");
        return false;
    }
    setenv("DISPLAY", (":" + line).constData(), 1);
    return true;
}
