#pragma once

#include "tray/FileFeeds.h"
#include "tray/TraySource.h"

#include <QAbstractItemModel>
#include <QObject>
#include <QPointer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

class TrayStore;

// What the tray page shows and does, decided here so the view only lays it
// out: the title and Clear button of the header, the source picker, and
// whether the body is a grid of files, the empty tray's invitation, a
// message, or nothing while a feed is first read.
class TrayPage : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(TraySource source READ source NOTIFY sourceChanged)
    Q_PROPERTY(QString title READ title NOTIFY sourceChanged)
    Q_PROPERTY(bool showsClear READ showsClear NOTIFY contentChanged)
    Q_PROPERTY(QString clearText READ clearText CONSTANT)
    Q_PROPERTY(Content content READ content NOTIFY contentChanged)
    Q_PROPERTY(QAbstractItemModel *items READ items NOTIFY contentChanged)
    Q_PROPERTY(bool removable READ removable NOTIFY contentChanged)
    Q_PROPERTY(QString messageSymbol READ messageSymbol NOTIFY contentChanged)
    Q_PROPERTY(QString messageTitle READ messageTitle NOTIFY contentChanged)
    Q_PROPERTY(QString messageDetail READ messageDetail NOTIFY contentChanged)
    Q_PROPERTY(QVariantList sources READ sources CONSTANT)

public:
    enum class Content { Blank, Grid, Invitation, Message };
    Q_ENUM(Content)

    static inline const QString kClearHelp = QStringLiteral("Remove everything from the tray (the files themselves stay put)");
    static inline const QString kRemoveHelp = QStringLiteral("Remove from tray");
    static inline const QString kDropTitle = QStringLiteral("Drop files on the notch");
    static inline const QString kDropDetail = QStringLiteral("They'll wait here until you drag them out.");
    static inline const QString kDropTargetedTitle = QStringLiteral("Drop to keep it here");

    // Uses the application's one TrayStore and FileFeeds.
    explicit TrayPage(QObject *parent = nullptr);
    TrayPage(TrayStore &store, FileFeeds &feeds, QObject *parent = nullptr);

    TraySource source() const;
    QString title() const { return titleFor(source()); }
    bool showsClear() const;
    QString clearText() const { return QStringLiteral("Clear"); }
    Content content() const;
    QAbstractItemModel *items() const;
    bool removable() const { return source() == TraySource::Dropped; }
    QString messageSymbol() const;
    QString messageTitle() const;
    QString messageDetail() const;
    QVariantList sources() const;

    Q_INVOKABLE static QString titleFor(TraySource source);
    Q_INVOKABLE static QString symbolFor(TraySource source);
    Q_INVOKABLE static QString removeAccessibleName(const QString &fileName);
    Q_INVOKABLE static QString clearHelp() { return kClearHelp; }
    Q_INVOKABLE static QString removeHelp() { return kRemoveHelp; }
    Q_INVOKABLE static QString dropTitle(bool targeted) { return targeted ? kDropTargetedTitle : kDropTitle; }
    Q_INVOKABLE static QString dropDetail() { return kDropDetail; }

    // The page came on screen: forget vanished tray files, re-read the feed.
    Q_INVOKABLE void appear();
    // The picker: choosing the shown source again reads its feed again.
    Q_INVOKABLE void pick(TraySource source);
    Q_INVOKABLE void remove(const QUrl &url);
    Q_INVOKABLE void clear();
    Q_INVOKABLE static void open(const QUrl &url);

Q_SIGNALS:
    void sourceChanged();
    void contentChanged();

private:
    FileFeeds::State feedState() const;

    QPointer<TrayStore> m_store;
    QPointer<FileFeeds> m_feeds;
};
