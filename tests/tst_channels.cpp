#include "capture_file.h"
#include "connection.h"
#include "link_finder.h"
#include "network.h"
#include "simulated_device.h"
#include "soak.h"
#include "tshark_capture.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <cstdio>
#include <ctime>
#include <deque>

/** The program's main(), built under another name beside the test's own. */
int fennixMain(int argc, char *argv[]);

using Simulator::SimulatedDevice;
using Simulator::Traffic;

namespace {

/** Sixteen programs start at the same time on few processors. */
constexpr int patienceMs = 120000;

constexpr int bytesPerSecond = 3840;

const QLatin1String analyser("192.0.2.1");

/** What a process of this program does as the user of the window; none in the test itself. */
struct User
{
    QString port;
    QString channel;
    uint frames = 0;
    QString signal; ///< A file; when it exists, all stations begin.

    void connectToDevice(MainWindow *window) const;
    void capture(MainWindow *window, const Connection *connection) const;
};

/** The user of this process. */
User &user()
{
    static User user;
    return user;
}

void say(const QByteArray &text)
{
    std::printf("%s\n", text.constData());
    std::fflush(stdout);
}

void letTheUserIn()
{
    if (user().port.isEmpty())
        return;
    auto *finder = new LinkFinder;
    QTimer::singleShot(0, qApp, [finder] {
        MainWindow *window = WindowUnderTest::ofTheProgram();
        user().connectToDevice(window);
        user().capture(window, finder->connection());
        delete finder;
    });
}

void User::connectToDevice(MainWindow *window) const
{
    HeldProbe probe;
    // A search would find no device behind a pseudo-terminal.
    MainWindow::availableComPorts = {port};
    QMetaObject::invokeMethod(window, "tryConnectDevices");
    const auto *channelSelect = window->findChild<QComboBox *>("channelSelect");
    const auto isOnChannel = [&] { return channelSelect->currentText() == channel; };
    if (!QTest::qWaitFor(isOnChannel, patienceMs))
        qFatal("the device has not reported its channel");
    probe.release();
    window->findChild<QLineEdit *>("remoteIpInput")->setText(analyser);
    say("ready");
    if (!QTest::qWaitFor([&] { return QFile::exists(signal); }, patienceMs))
        qFatal("nobody gives the signal");
}

void User::capture(MainWindow *window, const Connection *connection) const
{
    const std::clock_t begin = std::clock();
    QObject::connect(connection, &Connection::showPacketCount, window, [=](uint count) {
        if (count < frames)
            return;
        const std::clock_t ticks = std::clock() - begin;
        say("label " + window->findChild<QLabel *>("label_packetCount")->text().toLatin1());
        say("milliseconds " + QByteArray::number(1000 * qint64(ticks) / CLOCKS_PER_SEC));
        QCoreApplication::quit();
    });
    window->findChild<QAbstractButton *>("OnBtn")->click();
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(letTheUserIn)

namespace {

/** A machine with a dongle on a channel of its own, and the program that captures it. */
class Station
{
public:
    /** Begins at @p signal and captures for so many seconds. */
    Station(int channel, const QString &signal, int seconds);
    ~Station();
    Q_DISABLE_COPY(Station)

    QString address() const { return QString("192.0.2.%1").arg(m_channel); }
    int channel() const { return m_channel; }
    const QVector<QByteArray> &frames() const { return m_frames; }

    /** Waits for the line that begins with @p word and returns what follows; null if none does. */
    QByteArray said(const QByteArray &word);

private:
    const int m_channel;
    QVector<QByteArray> m_frames;
    QTemporaryDir m_folder;
    QProcess m_process;
};

Station::Station(int channel, const QString &signal, int seconds)
    : m_channel(channel)
{
    const QVector<QByteArray> traffic = Traffic::builtIn().frames();
    int bytes = 0;
    while (bytes < seconds * bytesPerSecond) {
        // Each device begins with another frame.
        m_frames.append(traffic.at((m_channel + m_frames.size()) % traffic.size()));
        bytes += SimulatedDevice::frameRecord(m_frames.last()).size();
    }
    const QString capture = m_folder.filePath("frames.pcap");
    writeCapture(capture, m_frames);
    // The trace of each frame is written, as in real life, but to nowhere.
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(RUN_ON_BRIDGE,
                    {QString::number(m_channel), SIMULATOR_PATH, "--ports", m_folder.path(),
                     "--device", QString("mirzel:channel=%1").arg(m_channel), "--replay", capture,
                     "--once", "--", QCoreApplication::applicationFilePath(),
                     m_folder.filePath("ttyUSB0"), QString::number(m_channel),
                     QString::number(m_frames.size()), signal});
}

Station::~Station()
{
    // Killed, the simulator would leave its program alone.
    m_process.terminate();
    m_process.waitForFinished();
}

QByteArray Station::said(const QByteArray &word)
{
    while (m_process.canReadLine() || m_process.waitForReadyRead(patienceMs)) {
        if (!m_process.canReadLine())
            continue;
        const QByteArray line = m_process.readLine();
        if (line.startsWith(word))
            return line.mid(word.size()).chopped(1);
    }
    return QByteArray();
}

} // namespace

class ChannelsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyFrameArrivesOnItsChannel();

private:
    bool awaitPackets(TsharkCapture *tshark, int count);
    void checkStation(const Station &station, const QVector<TsharkCapture::Packet> &packets);
    void printFigures(int frames, qint64 wallMs, qint64 processorMs);

    std::deque<Station> m_stations;
};

void ChannelsTest::initTestCase()
{
    Network::configure({"link add br0 type bridge", "link set br0 up",
                        QString("address add %1/24 broadcast + dev br0").arg(analyser)});
}

void ChannelsTest::everyFrameArrivesOnItsChannel()
{
    const int seconds = Soak::portion(60);
    const QTemporaryDir folder;
    const QString signal = folder.filePath("begin");
    const int channels = SimulatedDevice::highestChannel - SimulatedDevice::lowestChannel + 1;
    for (int i = 0; i < Soak::portion(channels, 3); ++i)
        m_stations.emplace_back(SimulatedDevice::lowestChannel + i, signal, seconds);
    int frames = 0;
    for (Station &station : m_stations) {
        QVERIFY(!station.said("ready").isNull());
        frames += station.frames().size();
    }
    TsharkCapture tshark("br0", "192.0.2.255");

    QElapsedTimer clock;
    clock.start();
    QVERIFY(QFile(signal).open(QIODevice::WriteOnly));
    QVERIFY(awaitPackets(&tshark, frames));
    const qint64 wallMs = clock.elapsed();

    qint64 processorMs = 0;
    for (Station &station : m_stations) {
        checkStation(station, tshark.packets());
        QCOMPARE(station.said("label ").toInt(), station.frames().size());
        processorMs += station.said("milliseconds ").toInt();
    }
    QCOMPARE(tshark.packets().size(), frames);
    printFigures(frames, wallMs, processorMs);
}

bool ChannelsTest::awaitPackets(TsharkCapture *tshark, int count)
{
    int shown = 0;
    const auto haveArrived = [&] {
        const int arrived = tshark->packets().size();
        if (arrived - shown >= count / 10)
            Soak::showProgress(shown = arrived, count);
        return arrived >= count;
    };
    return QTest::qWaitFor(haveArrived, patienceMs + Soak::portion(60000));
}

void ChannelsTest::checkStation(const Station &station,
                                const QVector<TsharkCapture::Packet> &packets)
{
    int next = 0;
    for (const TsharkCapture::Packet &packet : packets) {
        if (packet.source != station.address())
            continue;
        const QByteArray &frame = station.frames().at(next++);
        QCOMPARE(packet.sequenceNumber, static_cast<quint32>(next));
        if (!ZepReceiver::isData(packet.payload))
            continue;
        QCOMPARE(packet.channel, station.channel());
        QCOMPARE(packet.payload.mid(ZepReceiver::dataHeaderSize), frame);
    }
    QCOMPARE(next, station.frames().size());
}

void ChannelsTest::printFigures(int frames, qint64 wallMs, qint64 processorMs)
{
    Soak::printFigures(
        QString("%1 programs, %2 frames in %3 s, %4 a second, 0 lost; the programs "
                "take %5 ms, %6 % of two processors")
            .arg(m_stations.size())
            .arg(frames)
            .arg(static_cast<double>(wallMs) / 1000, 0, 'f', 1)
            .arg(frames * 1000LL / wallMs)
            .arg(processorMs)
            .arg(100.0 * static_cast<double>(processorMs) / static_cast<double>(2 * wallMs), 0, 'f',
                 1));
}

int main(int argc, char *argv[])
{
    if (argc == 5) {
        user() = {argv[1], argv[2], QByteArray(argv[3]).toUInt(), argv[4]};
        return fennixMain(1, argv);
    }
    const QCoreApplication application(argc, argv);
    ChannelsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_channels.moc"
