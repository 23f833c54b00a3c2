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

    void aVerifiedDeviceIsNeverDowngradedOrMoved_data()
    {
        // Announcements of one fingerprint, in order; the list keeps one
        // device: its address, its protocol, and how the list names it.
        QTest::addColumn<QStringList>("announced"); // "address:port https|http"
        QTest::addColumn<QString>("kept");
        QTest::addColumn<QString>("kind");
        QTest::newRow("a stranger claims it over http") << QStringList{"10.0.0.2:53317 https", "10.0.0.66:53317 http"}
                                                        << "10.0.0.2:53317 https" << "LocalSend";
        QTest::newRow("same address, now http") << QStringList{"10.0.0.2:53317 https", "10.0.0.2:53317 http"}
                                                << "10.0.0.2:53317 https" << "LocalSend";
        QTest::newRow("another address over https") << QStringList{"10.0.0.2:53317 https", "10.0.0.66:53317 https"}
                                                    << "10.0.0.2:53317 https" << "LocalSend";
        QTest::newRow("another port") << QStringList{"10.0.0.2:53317 https", "10.0.0.2:8080 https"}
                                      << "10.0.0.2:53317 https" << "LocalSend";
        QTest::newRow("plain http is named so") << QStringList{"10.0.0.2:53317 http"} << "10.0.0.2:53317 http"
                                                << "LocalSend, not encrypted";
        QTest::newRow("http may become https") << QStringList{"10.0.0.2:53317 http", "10.0.0.3:53317 https"}
                                               << "10.0.0.3:53317 https" << "LocalSend";
    }

    void aVerifiedDeviceIsNeverDowngradedOrMoved()
    {
        QFETCH(QStringList, announced);
        QFETCH(QString, kept);
        QFETCH(QString, kind);
        const auto parse = [](const QString &line) {
            NearbyDevice d = device(NearbyDevice::Kind::LocalSend, QStringLiteral("ab12"));
            const QStringList parts = line.split(QLatin1Char(' '));
            d.address = QHostAddress(parts.at(0).section(QLatin1Char(':'), 0, 0));
            d.port = quint16(parts.at(0).section(QLatin1Char(':'), 1).toUInt());
            d.https = parts.at(1) == QLatin1String("https");
            return d;
        };
        NearbyDeviceList list;
        QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::QtTest);
        for (const QString &line : announced)
            list.upsert(parse(line));
        QCOMPARE(list.count(), 1);
        QCOMPARE(list.devices().first(), parse(kept));
        QCOMPARE(list.data(list.index(0), NearbyDeviceList::KindRole).toString(), kind);
    }
};

QTEST_GUILESS_MAIN(tst_NearbyDeviceList)
#include "tst_NearbyDeviceList.moc"
