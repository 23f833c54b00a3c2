#pragma once

#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

// Turns the items of a drop into file addresses. Each item answers once,
// with a file or with nothing (a web address, a broken entry); answers may
// come from any thread, and a failed one simply counts down. When the last
// one is in, the completion runs once, on the receiver's thread, with the
// files in the order their answers arrived.
class DroppedFiles
{
public:
    using Completion = std::function<void(const QList<QUrl> &files)>;

    class Collector
    {
    public:
        Collector(int outstanding, QObject *receiver, Completion completion);
        void receive(const std::optional<QUrl> &address);
        int outstanding() const;

    private:
        mutable QMutex m_mutex;
        QList<QUrl> m_files;
        int m_outstanding;
        QPointer<QObject> m_receiver;
        Completion m_completion;
    };

    // One item's answer: its standardized file address, or nothing.
    static std::optional<QUrl> resolve(const QUrl &item);
    // Starts collecting `items`; `completion` runs on `receiver`'s thread.
    static std::shared_ptr<Collector> load(const QList<QUrl> &items, QObject *receiver, Completion completion);
};
