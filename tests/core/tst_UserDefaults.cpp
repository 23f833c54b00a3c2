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

    void readsBooleansWrittenByHand_data()
    {
        QTest::addColumn<QByteArray>("written");
        QTest::addColumn<bool>("expected");
        QTest::newRow("true") << QByteArray("true") << true;
        QTest::newRow("1") << QByteArray("1") << true;
        QTest::newRow("yes") << QByteArray("yes") << true;
        QTest::newRow("false") << QByteArray("false") << false;
        QTest::newRow("0") << QByteArray("0") << false;
    }
    void readsBooleansWrittenByHand()
    {
        QFETCH(QByteArray, written);
        QFETCH(bool, expected);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("Tarnwick.conf"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[General]\nTarnwickForceSimulatedNotch=" + written + "\n");
        file.close();
        UserDefaults defaults(path);
        defaults.registerDefaults({{QStringLiteral("TarnwickForceSimulatedNotch"), !expected}});
        QCOMPARE(defaults.boolValue(QStringLiteral("TarnwickForceSimulatedNotch")), expected);
    }
};

QTEST_GUILESS_MAIN(tst_UserDefaults)
#include "tst_UserDefaults.moc"
