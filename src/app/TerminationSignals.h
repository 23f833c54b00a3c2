#pragma once

#include <QObject>

class QSocketNotifier;

// SIGTERM, SIGINT and SIGHUP (logout, Ctrl+C, a closed terminal) become a
// normal quit through the event loop, so the clean-up that a menu "Quit"
// runs also runs when the process is asked politely to go.
class TerminationSignals : public QObject
{
    Q_OBJECT
public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received(int signal);

private:
    static void handler(int signal);
    QSocketNotifier *m_notifier = nullptr;
};
