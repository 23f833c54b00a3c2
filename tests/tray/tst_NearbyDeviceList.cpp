#include "tray/NearbyDeviceList.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

// The list of devices offered for sending: updates in place, and devices
// that left are dropped without disturbing the other kind.
class tst_NearbyDeviceList : public QObject
{
    Q_OBJECT

    static NearbyDevice device(NearbyDevice::Kind kind, const QString &id, const QString &type = {})
    {
        NearbyDevice d;
        d.kind = kind;
        d.id = id;
        d.name = QStringLiteral("name of ") + id;
        d.type = type;
        return d;
    }

    static QStringList ids(const NearbyDeviceList &list)
    {
        QStringList out;
        for (const NearbyDevice &d : list.devices())
            out.append(d.id);
        return out;
    }

private Q_SLOTS:
    void keepOnlyDropsTheDevicesThatLeft_data()
    {
        QTest::addColumn<QStringList>("kept");
        QTest::addColumn<QStringList>("after");
        // The list holds LocalSend l1, KDE Connect k1, l2, k2, k3 in that order.
        QTest::newRow("all still there") << QStringList{"k1", "k2", "k3"} << QStringList{"l1", "k1", "l2", "k2", "k3"};
        QTest::newRow("one left") << QStringList{"k1", "k3"} << QStringList{"l1", "k1", "l2", "k3"};
        QTest::newRow("all left") << QStringList{} << QStringList{"l1", "l2"};
        QTest::newRow("a LocalSend id means nothing here") << QStringList{"l1"} << QStringList{"l1", "l2"};
        QTest::newRow("an unknown id adds nothing") << QStringList{"k9", "k2"} << QStringList{"l1", "l2", "k2"};
    }

    void keepOnlyDropsTheDevicesThatLeft()
    {
        QFETCH(QStringList, kept);
        QFETCH(QStringList, after);
        NearbyDeviceList list;
        QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::QtTest);
        using K = NearbyDevice::Kind;
        for (const NearbyDevice &d : {device(K::LocalSend, "l1"), device(K::KdeConnect, "k1"), device(K::LocalSend, "l2"),
                                      device(K::KdeConnect, "k2"), device(K::KdeConnect, "k3")})
            list.upsert(d);
        QSignalSpy count(&list, &NearbyDeviceList::countChanged);
        list.keepOnly(K::KdeConnect, kept);
        QCOMPARE(ids(list), after);
        QCOMPARE(count.count(), after.size() == 5 ? 0 : 1);
        QCOMPARE(list.rowCount(), int(after.size()));
    }

    void symbolsFollowTheAnnouncedType_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("symbol");
        QTest::newRow("LocalSend phone") << "mobile" << "smartphone";
        QTest::newRow("KDE Connect phone") << "smartphone" << "smartphone";
        QTest::newRow("KDE Connect tablet") << "tablet" << "tablet";
        QTest::newRow("KDE Connect laptop") << "laptop" << "laptop";
        QTest::newRow("KDE Connect television") << "tv" << "tv";
        QTest::newRow("LocalSend server") << "server" << "computer";
        QTest::newRow("desktop") << "desktop" << "computer";
        QTest::newRow("nothing said") << "" << "devices_other";
        QTest::newRow("something new") << "watch" << "devices_other";
    }

    void symbolsFollowTheAnnouncedType()
    {
        QFETCH(QString, type);
        QFETCH(QString, symbol);
        QCOMPARE(NearbyDeviceList::symbolFor(device(NearbyDevice::Kind::KdeConnect, QStringLiteral("x"), type)), symbol);
    }
};

QTEST_GUILESS_MAIN(tst_NearbyDeviceList)
#include "tst_NearbyDeviceList.moc"
