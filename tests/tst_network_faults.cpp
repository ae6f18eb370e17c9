#include "network.h"
#include "no_traces.h"
#include "patience.h"
#include "plugged_device.h"
#include "tshark_capture.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QLineEdit>
#include <QtTest>

namespace {

/** Datagrams that show a state to last. */
constexpr int several = 5;

/** A host is asked for three times, once a second, before it is given up. */
constexpr int givenUpMs = 15000;

constexpr char refusal[] = "ZEP Error: Unable to send a message";
constexpr char noRoom[] = "ZEP Error: Unable to send a datagram";

/** The window, connected to a device; it captures, and sends what is captured somewhere. */
class Capture : public WindowUnderTest
{
public:
    Capture() { connectToDevice(); }

    void start(const QString &destination) const
    {
        find<QLineEdit>("remoteIpInput")->setText(destination);
        click("OnBtn");
    }

    int logged(const QByteArray &message) const { return log.messages().count(message); }
};

} // namespace

class NetworkFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void anInterruptedNetworkCostsWhatItRefuses_data();
    void anInterruptedNetworkCostsWhatItRefuses();
    void whatIsLostFurtherOnIsCounted_data();
    void whatIsLostFurtherOnIsCounted();
    void aHostThatDoesNotAnswerFillsTheSendBuffer();
    void theSendBufferIsEmptiedWhenAHostIsGivenUp();
    void aTextThatIsNoAddressLeadsToThisMachine_data();
    void aTextThatIsNoAddressLeadsToThisMachine();

private:
    /** Lets the idle device send @p count frames at once. */
    void sendFrames(int count) const;

    /** Returns by how much the far machine's datagram at @p index is numbered above its first. */
    int number(int index) const;

    Simulator::MockedMachine m_machine;
    std::unique_ptr<FarMachine> m_far;
    std::unique_ptr<PluggedDevice> m_device;
};

void NetworkFaultsTest::init()
{
    m_far = std::make_unique<FarMachine>();
    m_device =
        std::make_unique<PluggedDevice>(&m_machine, fastDevice(std::chrono::milliseconds(2)));
}

void NetworkFaultsTest::cleanup()
{
    m_device.reset();
    m_far.reset();
}

int NetworkFaultsTest::number(int index) const
{
    const QVector<QByteArray> &arrived = m_far->receiver().datagrams();
    return static_cast<int>(ZepReceiver::sequenceNumber(arrived.at(index))
                            - ZepReceiver::sequenceNumber(arrived.first()));
}

void NetworkFaultsTest::sendFrames(int count) const
{
    m_device->send(PluggedDevice::frameRecord("a radio frame").repeated(count));
}

void NetworkFaultsTest::anInterruptedNetworkCostsWhatItRefuses_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("repair");
    QTest::newRow("no route") << "route delete 192.0.2.0/24"
                              << "route add 192.0.2.0/24 dev cable";
    QTest::newRow("unreachable") << "route add unreachable 192.0.2.2"
                                 << "route delete unreachable 192.0.2.2";
    QTest::newRow("prohibited") << "route add prohibit 192.0.2.2"
                                << "route delete prohibit 192.0.2.2";
    QTest::newRow("interface down") << "link set cable down"
                                    << "link set cable up";
    QTest::newRow("interface gone") << "link delete cable"
                                    << "a new one";
}

void NetworkFaultsTest::anInterruptedNetworkCostsWhatItRefuses()
{
    QFETCH(QString, fault);
    QFETCH(QString, repair);
    const QVector<QByteArray> &arrived = m_far->receiver().datagrams();
    // On all interfaces, since the one to the other machine may go.
    TsharkCapture tshark("any");
    const Capture test;
    test.start(FarMachine::address);
    QTRY_VERIFY_WITH_TIMEOUT(arrived.size() >= several, patienceMs());

    Network::configure({fault});
    const int before = test.packetCount();
    QTRY_VERIFY_WITH_TIMEOUT(test.logged(refusal) >= several, patienceMs());
    QCOMPARE(test.packetCount(), before);
    QCOMPARE(test.page(), QByteArray("pageConnected"));

    if (repair == "a new one")
        m_far->layCable();
    else
        Network::configure({repair});
    QTRY_VERIFY_WITH_TIMEOUT(arrived.size() >= before + several, patienceMs());
    test.stopCapture(*m_device);
    QTRY_COMPARE_WITH_TIMEOUT(test.packetCount() + test.logged(refusal), m_device->framesSent(),
                              patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), test.packetCount(), patienceMs());

    // Each one that was refused has used up a number.
    QCOMPARE(number(before - 1), before - 1);
    QCOMPARE(number(before), before + test.logged(refusal));
    QCOMPARE(number(arrived.size() - 1), m_device->framesSent() - 1);

    // The analyser says how many that were.
    QCOMPARE(tshark.await(arrived.size()), arrived.size());
    int missing = 0;
    for (const TsharkCapture::Packet &packet : tshark.packets())
        missing += packet.missing;
    QCOMPARE(missing, test.logged(refusal));
}

void NetworkFaultsTest::whatIsLostFurtherOnIsCounted_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("the loopback is down") << "link set lo down";
    QTest::newRow("nobody listens") << "link set lo up";
}

void NetworkFaultsTest::whatIsLostFurtherOnIsCounted()
{
    QFETCH(QString, fault);
    auto receiver = std::make_unique<ZepReceiver>();
    const Capture test;
    test.start("127.0.0.1");
    QTRY_VERIFY_WITH_TIMEOUT(receiver->count() >= several, patienceMs());

    receiver.reset();
    Network::configure({fault});
    const int before = test.packetCount();
    QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= before + several, patienceMs());
    QCOMPARE(test.logged(refusal), 0);

    Network::configure({"link set lo up"});
    const ZepReceiver again;
    QTRY_VERIFY_WITH_TIMEOUT(again.count() >= several, patienceMs());
    test.stopCapture(*m_device);
    QTRY_COMPARE_WITH_TIMEOUT(test.packetCount(), m_device->framesSent(), patienceMs());
}

void NetworkFaultsTest::aHostThatDoesNotAnswerFillsTheSendBuffer()
{
    const int frames = 400;
    const QVector<QByteArray> &arrived = m_far->receiver().datagrams();
    const Capture test;
    test.start(FarMachine::address);
    test.stopCapture(*m_device);
    sendFrames(1);
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), m_device->framesSent() + 1, patienceMs());
    const int before = test.packetCount();
    m_far->configure({"address delete 192.0.2.2/24 dev cable-end"});
    // The machine is asked for often enough to be there again before it is given up.
    Network::configure(
        {"ntable change name arp_cache dev cable mcast_probes 10", "neighbour flush dev cable"});

    sendFrames(frames);
    QTRY_COMPARE_WITH_TIMEOUT(test.packetCount() + test.logged(noRoom), before + frames,
                              patienceMs());
    QVERIFY(test.logged(noRoom) > 0);
    QCOMPARE(arrived.size(), before);

    // It is asked for every second; what waits for it arrives late.
    m_far->configure({"address add 192.0.2.2/24 dev cable-end"});
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), test.packetCount(), patienceMs());
    sendFrames(1);
    QTRY_COMPARE_WITH_TIMEOUT(test.packetCount() + test.logged(noRoom), before + frames + 1,
                              patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), test.packetCount(), patienceMs());
    // The numbers of those that found no room are used up.
    QCOMPARE(number(arrived.size() - 1), before + frames);
}

void NetworkFaultsTest::theSendBufferIsEmptiedWhenAHostIsGivenUp()
{
    const Capture test;
    test.start("192.0.2.3");
    test.stopCapture(*m_device);

    // Traces would take a slow machine so long that the host is given up before the buffer is full.
    const NoTraces noTraces;
    sendFrames(400);
    QTRY_VERIFY_WITH_TIMEOUT(test.logged(noRoom) > 0, patienceMs());
    const int full = test.packetCount();

    const auto findsRoom = [&] {
        sendFrames(1);
        return test.packetCount() > full;
    };
    QVERIFY(QTest::qWaitFor(findsRoom, patienceMs(givenUpMs)));
}

void NetworkFaultsTest::aTextThatIsNoAddressLeadsToThisMachine_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("arrivesAt");
    QTest::newRow("no address") << QStringList {"abc"} << "::1";
    QTest::newRow("no address after one") << QStringList {"127.0.0.1", "abc"} << "::1";
    QTest::newRow("an address after none") << QStringList {"abc", "127.0.0.1"} << "127.0.0.1";
}

void NetworkFaultsTest::aTextThatIsNoAddressLeadsToThisMachine()
{
    QFETCH(QStringList, texts);
    QFETCH(QString, arrivesAt);
    const ZepReceiver receiver(arrivesAt);
    const Capture test;
    for (const QString &text : qAsConst(texts)) {
        const int before = test.packetCount();
        test.start(text);
        QTRY_VERIFY_WITH_TIMEOUT(test.packetCount() >= before + several, patienceMs());
        test.stopCapture(*m_device);
    }

    QTRY_COMPARE_WITH_TIMEOUT(test.packetCount(), m_device->framesSent(), patienceMs());
    QTRY_VERIFY_WITH_TIMEOUT(receiver.count() >= several, patienceMs());
    QCOMPARE(test.logged(refusal), 0);
}

QTEST_MAIN(NetworkFaultsTest)

#include "tst_network_faults.moc"
