#include "core/UserDefaults.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_UserDefaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void registeredDefaultsAreNeverWritten()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("Tarnwick.conf"));
        {
            UserDefaults defaults(path);
            defaults.registerDefaults({{QStringLiteral("widget.tray"), true}});
            QVERIFY(defaults.boolValue(QStringLiteral("widget.tray")));
            QVERIFY(!defaults.contains(QStringLiteral("widget.tray")));
            QVERIFY(!defaults.boolValue(QStringLiteral("TarnwickForceSimulatedNotch")));
            defaults.setString(QStringLiteral("musicMode.originalTint"), QStringLiteral("3"));
        }
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        QVERIFY(!text.contains("widget.tray"));
        QVERIFY(text.contains("musicMode.originalTint=3"));
    }

    void readsBooleansWrittenByHand()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("Tarnwick.conf"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[General]\na=true\nb=1\nc=yes\nd=false\ne=0\n");
        file.close();
        UserDefaults defaults(path);
        QList<bool> read;
        for (const char *key : {"a", "b", "c", "d", "e"}) {
            // The registered default is the opposite of what the file says.
            defaults.registerDefaults({{QString::fromLatin1(key), read.size() >= 3}});
            read << defaults.boolValue(QString::fromLatin1(key));
        }
        QCOMPARE(read, (QList<bool> {true, true, true, false, false}));
    }
};

QTEST_GUILESS_MAIN(tst_UserDefaults)
#include "tst_UserDefaults.moc"
