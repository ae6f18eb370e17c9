#include "connection.h"
#include "mocked_machine.h"
#include "paint_counter.h"
#include "paint_pace.h"
#include "patience.h"
#include "window_under_test.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QTest>

namespace {

/** A window with a count that is painted at a pace. */
struct PacedWindow
{
    PacedWindow()
        : count(QStringLiteral("0"), &window)
        , pace(&count)
        , counter(&count)
    {
        window.resize(300, 100);
        count.setGeometry(10, 10, 200, 20);
        window.show();
        if (!QTest::qWaitForWindowExposed(&window, patienceMs()))
            qFatal("no window");
        QCoreApplication::processEvents();
        counter.paints = 0;
    }

    void change(int value)
    {
        pace.setText(QString::number(value));
        QCoreApplication::processEvents();
    }

    /** Changes until a change is not painted at once; returns the last value. */
    int changeUntilBehind()
    {
        int value = 0;
        int before = 0;
        do {
            before = counter.paints;
            change(++value);
        } while (counter.paints > before && value < 1000);
        return value;
    }

    QWidget window;
    QLabel count;
    PaintPace pace;
    PaintCounter counter;
};

} // namespace

class PaintPaceTest : public QObject
{
    Q_OBJECT

private slots:
    void aChangeAfterAPauseIsPaintedAtOnce();
    void changesInARowArePaintedTogether();
    void theTextIsAlwaysTheLatest();
    void theLastChangeIsPaintedWithoutAnother();
    void aPictureOfTheWindowHasTheLatest();
    void leavesUpdatesAsTheyWere_data();
    void leavesUpdatesAsTheyWere();
    void theWindowPaintsItsCountAtThisPace();

private:
    const Simulator::MockedMachine m_machine;
};

void PaintPaceTest::aChangeAfterAPauseIsPaintedAtOnce()
{
    PacedWindow paced;

    paced.change(1);

    QCOMPARE(paced.counter.paints, 1);
}

void PaintPaceTest::changesInARowArePaintedTogether()
{
    PacedWindow paced;
    QElapsedTimer time;
    time.start();

    for (int i = 1; i <= 1000; ++i)
        paced.change(i);

    // One more, since a timer may be a little early.
    QVERIFY(paced.counter.paints <= 2 + time.elapsed() / PaintPace::paceMs);
}

void PaintPaceTest::theTextIsAlwaysTheLatest()
{
    PacedWindow paced;
    for (int i = 1; i <= 100; ++i) {
        paced.change(i);
        QCOMPARE(paced.count.text(), QString::number(i));
    }
}

void PaintPaceTest::theLastChangeIsPaintedWithoutAnother()
{
    PacedWindow paced;
    const int last = paced.changeUntilBehind();
    const int paints = paced.counter.paints;

    QTRY_COMPARE_WITH_TIMEOUT(paced.counter.paints, paints + 1, patienceMs());
    QCOMPARE(paced.count.text(), QString::number(last));

    // After which it rests, as only time can show, and the next change is the first of a row.
    QTest::qWait(2 * PaintPace::paceMs);
    QCOMPARE(paced.counter.paints, paints + 1);
    paced.change(last + 1);
    QCOMPARE(paced.counter.paints, paints + 2);
}

void PaintPaceTest::aPictureOfTheWindowHasTheLatest()
{
    PacedWindow paced;
    QLabel ordinary(&paced.window);
    ordinary.setGeometry(paced.count.geometry().translated(0, 40));
    ordinary.show();
    ordinary.setText(QString::number(paced.changeUntilBehind()));

    const QImage picture = paced.window.grab().toImage();

    QCOMPARE(picture.copy(paced.count.geometry()), picture.copy(ordinary.geometry()));
}

void PaintPaceTest::leavesUpdatesAsTheyWere_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::newRow("enabled") << true;
    QTest::newRow("disabled") << false;
}

void PaintPaceTest::leavesUpdatesAsTheyWere()
{
    QFETCH(bool, enabled);
    PacedWindow paced;
    const int last = paced.changeUntilBehind();
    paced.count.setUpdatesEnabled(enabled);

    paced.change(last + 1);

    QCOMPARE(paced.count.updatesEnabled(), enabled);
}

void PaintPaceTest::theWindowPaintsItsCountAtThisPace()
{
    WindowUnderTest test;
    test.call("showConnectedPage");
    auto *count = test.find<QLabel>("label_packetCount");
    QTRY_VERIFY_WITH_TIMEOUT(count->isVisible(), patienceMs());
    QCoreApplication::processEvents();
    const PaintCounter counter(count);
    QElapsedTimer time;
    time.start();

    for (uint i = 1; i <= 100; ++i) {
        emit test.link.connection()->showPacketCount(i);
        QCoreApplication::processEvents();
    }

    QCOMPARE(count->text(), QString("100"));
    QVERIFY(counter.paints >= 1);
    QVERIFY(counter.paints <= 2 + time.elapsed() / PaintPace::paceMs);
}

QTEST_MAIN(PaintPaceTest)
#include "tst_paint_pace.moc"
