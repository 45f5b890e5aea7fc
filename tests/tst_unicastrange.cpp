#include "unicastrange.h"

#include <QTest>

// Which addresses a unicast scan asks.
class TestUnicastRange : public QObject
{
    Q_OBJECT

private slots:
    void addressesOfARange_data();
    void addressesOfARange();
    void aVisitorEndsTheWalk();
    void theLastAddressOfAllEndsIt();
};

namespace {

QString dotted(const QVector<quint32> &addresses)
{
    QStringList texts;
    for (const quint32 address : addresses) {
        texts.append(QHostAddress(address).toString());
    }
    return texts.join(QLatin1Char(' '));
}

QHostAddress at(const char *text)
{
    return QHostAddress(QString::fromLatin1(text));
}

} // namespace

void TestUnicastRange::addressesOfARange_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<QString>("end");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char *name, const char *start, const char *end, const char *expected) {
        QTest::newRow(name) << QString::fromLatin1(start) << QString::fromLatin1(end)
                            << QString::fromLatin1(expected);
    };
    row("one", "192.168.0.7", "192.168.0.7", "192.168.0.7");
    row("into the next network", "10.0.0.253", "10.0.1.2",
        "10.0.0.253 10.0.0.254 10.0.1.0 10.0.1.1 10.0.1.2");
    row("the first network's own address", "10.0.1.0", "10.0.1.2", "10.0.1.1 10.0.1.2");
    row("255 of a later network stays", "10.0.0.255", "10.0.1.0", "10.0.1.0");
    row("wrong way round", "10.0.0.2", "10.0.0.1", "");
    row("no start", "", "10.0.0.1", "");
    row("no end", "10.0.0.1", "", "");
    row("IPv6", "::1", "::2", "");
    row("IPv4 in IPv6 dress", "::ffff:10.0.0.1", "::ffff:10.0.0.2", "");
}

void TestUnicastRange::addressesOfARange()
{
    QFETCH(QString, start);
    QFETCH(QString, end);
    QFETCH(QString, expected);
    QCOMPARE(dotted(unicastAddresses(QHostAddress(start), QHostAddress(end))), expected);
}

void TestUnicastRange::aVisitorEndsTheWalk()
{
    QVector<quint32> seen;
    visitUnicastAddresses(at("0.0.0.1"), at("255.255.255.255"), [&seen](quint32 address) {
        seen.append(address);
        return seen.size() < 3;
    });
    QCOMPARE(dotted(seen), QStringLiteral("0.0.0.1 0.0.0.2 0.0.0.3"));
}

// A counter as wide as an address would begin again at 0.0.0.0.
void TestUnicastRange::theLastAddressOfAllEndsIt()
{
    int count = 0;
    quint32 last = 0;
    visitUnicastAddresses(at("255.255.253.255"), at("255.255.255.255"), [&](quint32 address) {
        ++count;
        last = address;
        return count < 1000;
    });
    QCOMPARE(count, 512); // without 255.255.253.255, the broadcast address of the first network
    QCOMPARE(QHostAddress(last).toString(), QStringLiteral("255.255.255.255"));
}

QTEST_APPLESS_MAIN(TestUnicastRange)
#include "tst_unicastrange.moc"
