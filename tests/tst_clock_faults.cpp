#include "debug_log.h"
#include "log_capture.h"
#include "patience.h"
#include "plugged_device.h"
#include "set_clock.h"
#include "window_under_test.h"
#include "zep_receiver.h"

#include <QLineEdit>
#include <QTemporaryFile>
#include <QtEndian>
#include <QtTest>

#include <sys/mount.h>

namespace {

constexpr time_t noon = 1795262400; // 21 November 2026, 12:00:00 UTC
constexpr time_t hour = 3600;
constexpr quint32 secondsTo1970 = 2208988800U;

/** The file of the machine's time zone while it lives, for this process and its mounts only. */
class MachineZone
{
public:
    explicit MachineZone(int hoursEast)
    {
        if (!m_file.open())
            qFatal("cannot make %s", qPrintable(m_file.fileName()));
        write(hoursEast, noon);
        const QByteArray path = QFile::encodeName(m_file.fileName());
        if (mount(path.constData(), zoneFile, nullptr, MS_BIND, nullptr) != 0)
            qFatal("cannot set the time zone; start the test by tests/support/run-alone");
    }
    ~MachineZone() { umount(zoneFile); }
    Q_DISABLE_COPY(MachineZone)

    /** Writes a zone without daylight saving time; the file is as old as @p modified says. */
    void write(int hoursEast, time_t modified)
    {
        m_file.resize(0);
        m_file.seek(0);
        // TZif: six counts behind the head, the offset of the one type, a name of three letters.
        m_file.write(QByteArray("TZif").leftJustified(20, '\0'));
        QDataStream stream(&m_file);
        for (const quint32 count : {0U, 0U, 0U, 0U, 1U, 4U})
            stream << count;
        stream << static_cast<qint32>(hoursEast * hour) << quint16(0);
        stream.writeRawData("ABC", 4);
        m_file.flush();
        // In UTC: for local time, Qt would call tzset() in place of the program.
        m_file.setFileTime(QDateTime::fromSecsSinceEpoch(modified, Qt::UTC),
                           QFileDevice::FileModificationTime);
    }

private:
    static constexpr char zoneFile[] = "/etc/localtime";

    QTemporaryFile m_file;
};

} // namespace

class ClockFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void theClockMayBeSetDuringACapture();
    void theMachinesTimeZoneMayBeSet();
};

void ClockFaultsTest::init()
{
    qputenv("TZ", "UTC");
}

void ClockFaultsTest::theClockMayBeSetDuringACapture()
{
    Simulator::MockedMachine machine;
    PluggedDevice device(&machine, silentDevice());
    const ZepReceiver receiver;
    const WindowUnderTest test;
    test.click("devConnectButton");
    test.find<QLineEdit>("remoteIpInput")->clear();
    test.click("OnBtn");
    QTRY_VERIFY_WITH_TIMEOUT(device.received().endsWith("\nsniff\n"), patienceMs());

    // Each frame, and each line of the log, finds the clock set anew.
    const QVector<time_t> times = {noon, noon - hour, noon + hour, 0, noon + 10 * hour, noon};
    QByteArray stamps;
    for (const time_t time : times) {
        SetClock::seconds = time;
        SetClock::precise = {time, 0};
        device.send(PluggedDevice::frameRecord("a radio frame") + "[vostrel]");
        stamps += QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString("hh:mm:ss").toLatin1()
            + ":000 [warning] watchdog\n";
        QTRY_VERIFY2_WITH_TIMEOUT(test.log.text().endsWith(stamps), test.log.text(), patienceMs());
    }

    QTRY_COMPARE_WITH_TIMEOUT(receiver.count(), times.size(), patienceMs());
    const quint32 first = ZepReceiver::sequenceNumber(receiver.datagrams().first());
    for (int i = 0; i < times.size(); ++i) {
        const QByteArray &datagram = receiver.datagrams().at(i);
        QCOMPARE(ZepReceiver::sequenceNumber(datagram), first + static_cast<quint32>(i));
        QCOMPARE(qFromBigEndian<quint32>(datagram.constData() + 9),
                 static_cast<quint32>(times.at(i)) + secondsTo1970);
    }
    QCOMPARE(test.packetCount(), times.size());
}

void ClockFaultsTest::theMachinesTimeZoneMayBeSet()
{
    SetClock::seconds = noon;
    const LogCapture log;
    const auto stamp = [&] {
        DBG_Printf(DBG_GENERAL, "\n");
        return log.text().split('\n').end()[-2].left(8);
    };
    QCOMPARE(stamp(), QByteArray("12:00:00"));

    qunsetenv("TZ");
    MachineZone zone(9);
    QCOMPARE(stamp(), QByteArray("21:00:00"));
    {
        // Zones that came with the same package are as old as each other.
        const MachineZone another(-3);
        QCOMPARE(stamp(), QByteArray("09:00:00"));
    }
    QCOMPARE(stamp(), QByteArray("21:00:00"));
    zone.write(8, noon + hour);
    QCOMPARE(stamp(), QByteArray("20:00:00"));
    // The user's own zone overrides the machine's.
    qputenv("TZ", "UTC-5");
    QCOMPARE(stamp(), QByteArray("17:00:00"));
    qunsetenv("TZ");
    QCOMPARE(stamp(), QByteArray("20:00:00"));
}

QTEST_MAIN(ClockFaultsTest)

#include "tst_clock_faults.moc"
