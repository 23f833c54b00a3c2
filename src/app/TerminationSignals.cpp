#include "app/TerminationSignals.h"

#include <QSocketNotifier>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The handler may only do async-signal-safe work: it writes the signal
// number into a pipe that the event loop watches.
int g_pipe[2] = {-1, -1};
} // namespace

void TerminationSignals::handler(int signal)
{
    const unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[0], &byte, 1);
}

TerminationSignals::TerminationSignals(QObject *parent)
    : QObject(parent)
{
    if (g_pipe[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, g_pipe) != 0)
        return;
    m_notifier = new QSocketNotifier(g_pipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        while (::read(g_pipe[1], &byte, 1) == 1)
            Q_EMIT received(int(byte));
    });
    struct sigaction action {};
    action.sa_handler = &TerminationSignals::handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(s, &action, nullptr);
}

TerminationSignals::~TerminationSignals()
{
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(s, &action, nullptr);
}
