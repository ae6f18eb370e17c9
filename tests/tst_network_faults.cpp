#include "mocked_machine.h"
#include "network.h"
#include "no_traces.h"
#include "patience.h"
#include "simulated_device.h"
#include "tshark_capture.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QLabel>
#include <QLineEdit>
#include <QtTest>

#include <algorithm>

using Simulator::MockedMachine;
using Simulator::SimulatedDevice;

namespace {

/** Datagrams that show a state to last. */
constexpr int several = 5;

/** A host is asked for three times, once a second, before it is given up. */
constexpr int givenUpMs = 15000;

constexpr char refusal[] = "ZEP Error: Unable to send a message";
constexpr char noRoom[] = "ZEP Error: Unable to send a datagram";

SimulatedDevice::Settings fasterThanTheLine()
{
    SimulatedDevice::Settings settings;
    settings.rate = SimulatedDevice::Rate::Unthrottled;
    settings.interval = std::chrono::milliseconds(2);
    return settings;
}

} // namespace

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

static int counted(const Capture &test)
{
    return test.find<QLabel>("label_packetCount")->text().toInt();
}

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

    std::unique_ptr<MockedMachine> m_machine;
    std::unique_ptr<SimulatedDevice> m_device;
    std::unique_ptr<FarMachine> m_far;
};

void NetworkFaultsTest::init()
{
    m_far = std::make_unique<FarMachine>();
    m_machine = std::make_unique<MockedMachine>();
    m_device = std::make_unique<SimulatedDevice>(fasterThanTheLine());
    m_machine->plugIn(MockedMachine::Kind::Mirzel, "ttyUSB0", m_device->portPath());
}

void NetworkFaultsTest::cleanup()
{
    m_machine.reset();
    m_device.reset();
    m_far.reset();
}

void NetworkFaultsTest::sendFrames(int count) const
{
    QByteArray records;
    for (int i = 0; i < count; ++i)
        records += SimulatedDevice::frameRecord("a radio frame");
    m_device->send(records);
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
    QString error;
    QVERIFY2(tshark.start(&error), qPrintable(error));
    const Capture test;
    test.start(FarMachine::address);
    QTRY_VERIFY_WITH_TIMEOUT(arrived.size() >= several, patienceMs());

    Network::configure({fault});
    const int before = counted(test);
    QTRY_VERIFY_WITH_TIMEOUT(test.logged(refusal) >= several, patienceMs());
    QCOMPARE(counted(test), before);
    QCOMPARE(test.page(), QByteArray("pageConnected"));

    if (repair == "a new one")
        m_far->layCable();
    else
        Network::configure({repair});
    QTRY_VERIFY_WITH_TIMEOUT(arrived.size() >= before + several, patienceMs());
    test.click("OffBtn");
    QTRY_VERIFY_WITH_TIMEOUT(!m_device->isSniffing(), patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(counted(test) + test.logged(refusal), m_device->framesSent(),
                              patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), counted(test), patienceMs());

    // Each one that was refused has used up a number.
    const quint32 first = ZepReceiver::sequenceNumber(arrived.first());
    QCOMPARE(ZepReceiver::sequenceNumber(arrived.at(before - 1)) - first,
             static_cast<quint32>(before - 1));
    QCOMPARE(ZepReceiver::sequenceNumber(arrived.at(before)) - first,
             static_cast<quint32>(before + test.logged(refusal)));
    QCOMPARE(ZepReceiver::sequenceNumber(arrived.last()) - first,
             static_cast<quint32>(m_device->framesSent() - 1));

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
    const int before = counted(test);
    QTRY_VERIFY_WITH_TIMEOUT(counted(test) >= before + several, patienceMs());
    QCOMPARE(test.logged(refusal), 0);

    Network::configure({"link set lo up"});
    const ZepReceiver again;
    QTRY_VERIFY_WITH_TIMEOUT(again.count() >= several, patienceMs());
    test.click("OffBtn");
    QTRY_VERIFY_WITH_TIMEOUT(!m_device->isSniffing(), patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(counted(test), m_device->framesSent(), patienceMs());
}

void NetworkFaultsTest::aHostThatDoesNotAnswerFillsTheSendBuffer()
{
    const int frames = 400;
    const QVector<QByteArray> &arrived = m_far->receiver().datagrams();
    const Capture test;
    test.start(FarMachine::address);
    test.click("OffBtn");
    QTRY_VERIFY_WITH_TIMEOUT(!m_device->isSniffing(), patienceMs());
    sendFrames(1);
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), m_device->framesSent() + 1, patienceMs());
    const int before = counted(test);
    m_far->configure({"address delete 192.0.2.2/24 dev cable-end"});
    // The machine is asked for often enough to be there again before it is given up.
    Network::configure(
        {"ntable change name arp_cache dev cable mcast_probes 10", "neighbour flush dev cable"});

    sendFrames(frames);
    QTRY_COMPARE_WITH_TIMEOUT(counted(test) + test.logged(noRoom), before + frames, patienceMs());
    QVERIFY(test.logged(noRoom) > 0);
    QCOMPARE(arrived.size(), before);

    // It is asked for every second; what waits for it arrives late.
    m_far->configure({"address add 192.0.2.2/24 dev cable-end"});
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), counted(test), patienceMs());
    sendFrames(1);
    QTRY_COMPARE_WITH_TIMEOUT(counted(test) + test.logged(noRoom), before + frames + 1,
                              patienceMs());
    QTRY_COMPARE_WITH_TIMEOUT(arrived.size(), counted(test), patienceMs());
    // The numbers of those that found no room are used up.
    QCOMPARE(ZepReceiver::sequenceNumber(arrived.last())
                 - ZepReceiver::sequenceNumber(arrived.first()),
             static_cast<quint32>(before + frames));
}

void NetworkFaultsTest::theSendBufferIsEmptiedWhenAHostIsGivenUp()
{
    const Capture test;
    test.start("192.0.2.3");
    test.click("OffBtn");
    QTRY_VERIFY_WITH_TIMEOUT(!m_device->isSniffing(), patienceMs());

    // Traces would take a slow machine so long that the host is given up before the buffer is full.
    const NoTraces noTraces;
    sendFrames(400);
    QTRY_VERIFY_WITH_TIMEOUT(test.logged(noRoom) > 0, patienceMs());
    const int full = counted(test);

    const auto findsRoom = [&] {
        sendFrames(1);
        return counted(test) > full;
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
        const int before = counted(test);
        test.start(text);
        QTRY_VERIFY_WITH_TIMEOUT(counted(test) >= before + several, patienceMs());
        test.click("OffBtn");
        QTRY_VERIFY_WITH_TIMEOUT(!m_device->isSniffing(), patienceMs());
    }

    QTRY_COMPARE_WITH_TIMEOUT(counted(test), m_device->framesSent(), patienceMs());
    QTRY_VERIFY_WITH_TIMEOUT(receiver.count() >= several, patienceMs());
    QCOMPARE(test.logged(refusal), 0);
}

QTEST_MAIN(NetworkFaultsTest)

#include "tst_network_faults.moc"
