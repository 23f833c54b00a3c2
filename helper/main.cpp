// tarnwick-nowplaying: tells Tarnwick what the desktop's media players play.
//
//   tarnwick-nowplaying stream --micros [--debounce=MS]
//       one JSON object per line: {"diff":bool,"payload":{...}}
//   tarnwick-nowplaying send N      media command N (0 play, 1 pause,
//                                   2 play/pause, 4 next, 5 previous,
//                                   6 shuffle, 7 repeat)
//   tarnwick-nowplaying seek MICROS
//
// It talks to the players over MPRIS on the session bus in its own process,
// so a player that stops answering never stalls Tarnwick itself.

#include "NowPlayingStream.h"
#include "PlayerCommands.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <csignal>
#include <cstdio>
#include <sys/prctl.h>

namespace {

int usage()
{
    std::fputs("usage: tarnwick-nowplaying stream --micros [--debounce=MS] | send N | seek MICROS\n", stderr);
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    // A stream whose parent is gone has no reader; end with it rather than
    // linger until the next write fails.
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);

    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments().mid(1);
    if (args.isEmpty())
        return usage();
    const QString verb = args.first();

    if (verb == QLatin1String("stream")) {
        int debounceMs = 50;
        for (const QString &option : args.mid(1)) {
            if (option.startsWith(QLatin1String("--debounce="))) {
                bool ok = false;
                debounceMs = option.mid(11).toInt(&ok);
                if (!ok || debounceMs < 0)
                    return usage();
            } else if (option != QLatin1String("--micros")) {
                return usage();
            }
        }
        NowPlayingStream stream(QDBusConnection::sessionBus(), debounceMs, stdout);
        if (!stream.start()) {
            std::fputs("tarnwick-nowplaying: no session bus\n", stderr);
            return 1;
        }
        return QCoreApplication::exec();
    }

    if (args.size() != 2)
        return usage();
    bool ok = false;
    PlayerCommands commands(QDBusConnection::sessionBus());
    if (verb == QLatin1String("send")) {
        const int command = args.at(1).toInt(&ok);
        return ok ? commands.send(command) : usage();
    }
    if (verb == QLatin1String("seek")) {
        const qint64 micros = args.at(1).toLongLong(&ok);
        return ok ? commands.seek(micros) : usage();
    }
    return usage();
}
