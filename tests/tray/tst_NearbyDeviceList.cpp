#include "tray/NearbyDeviceList.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

// The list of devices offered for sending: updates in place, drops devices
// that left without disturbing the other kind, and never lets a later
// announcement take over a device once seen over HTTPS.
class tst_NearbyDeviceList : public QObject
{
    Q_OBJECT

    // "l1" is a LocalSend device, "k1" a KDE Connect one; "ab12@10.0.0.2:80 http"
    // a LocalSend device at that address and protocol.
    static NearbyDevice device(const QString &text)
    {
        const QStringList parts = text.split(QRegularExpression(QStringLiteral("[@: ]")));
        NearbyDevice d{text.startsWith(u'k') ? NearbyDevice::Kind::KdeConnect : NearbyDevice::Kind::LocalSend,
                       parts.at(0), QStringLiteral("name of ") + parts.at(0), {}, {}, 0, true};
        if (parts.size() == 4) {
            d.address = QHostAddress(parts.at(1));
            d.port = quint16(parts.at(2).toUInt());
            d.https = parts.at(3) == QLatin1String("https");
        }
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
        // The list holds l1, k1, l2, k2, k3 in that order.
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
        for (const char *id : {"l1", "k1", "l2", "k2", "k3"})
            list.upsert(device(QLatin1String(id)));
        QSignalSpy count(&list, &NearbyDeviceList::countChanged);
        list.keepOnly(NearbyDevice::Kind::KdeConnect, kept);
        QCOMPARE(ids(list), after);
        QCOMPARE(count.count(), after.size() == 5 ? 0 : 1);
    }

    void aVerifiedDeviceIsNeverDowngradedOrMoved_data()
    {
        // Announcements of one fingerprint, in order; the one device kept,
        // and how the list names its kind.
        QTest::addColumn<QStringList>("announced");
        QTest::addColumn<QString>("kept");
        QTest::addColumn<QString>("kind");
        QTest::newRow("a stranger claims it over http")
            << QStringList{"ab12@10.0.0.2:53317 https", "ab12@10.0.0.66:53317 http"} << "ab12@10.0.0.2:53317 https"
            << "LocalSend";
        QTest::newRow("same address, now http")
            << QStringList{"ab12@10.0.0.2:53317 https", "ab12@10.0.0.2:53317 http"} << "ab12@10.0.0.2:53317 https"
            << "LocalSend";
        QTest::newRow("another address over https")
            << QStringList{"ab12@10.0.0.2:53317 https", "ab12@10.0.0.66:53317 https"} << "ab12@10.0.0.2:53317 https"
            << "LocalSend";
        QTest::newRow("another port") << QStringList{"ab12@10.0.0.2:53317 https", "ab12@10.0.0.2:8080 https"}
                                      << "ab12@10.0.0.2:53317 https" << "LocalSend";
        QTest::newRow("plain http is named so") << QStringList{"ab12@10.0.0.2:53317 http"} << "ab12@10.0.0.2:53317 http"
                                                << "LocalSend, not encrypted";
        QTest::newRow("http may become https") << QStringList{"ab12@10.0.0.2:53317 http", "ab12@10.0.0.3:53317 https"}
                                               << "ab12@10.0.0.3:53317 https" << "LocalSend";
    }

    void aVerifiedDeviceIsNeverDowngradedOrMoved()
    {
        QFETCH(QStringList, announced);
        QFETCH(QString, kept);
        QFETCH(QString, kind);
        NearbyDeviceList list;
        QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::QtTest);
        for (const QString &text : announced)
            list.upsert(device(text));
        QCOMPARE(list.devices(), QList<NearbyDevice>{device(kept)});
        QCOMPARE(list.data(list.index(0), NearbyDeviceList::KindRole).toString(), kind);
    }
};

QTEST_GUILESS_MAIN(tst_NearbyDeviceList)
#include "tst_NearbyDeviceList.moc"
