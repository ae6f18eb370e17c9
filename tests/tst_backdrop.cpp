#include "backdrop.h"
#include "paint_counter.h"

#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QTest>

namespace {

constexpr int waitMs = 5000;

/** A window with a count in a frame, as the program's capture page has it. */
struct CountingWindow
{
    CountingWindow()
        : frame(&window)
        , count(QStringLiteral("0"), &frame)
    {
        window.resize(300, 200);
        frame.setGeometry(20, 20, 250, 150);
        count.setGeometry(10, 60, 200, 20);
        window.show();
    }

    /** Gives the count its backdrop, which it takes when it is shown. */
    void giveBackdrop()
    {
        window.hide();
        new Backdrop(&count);
        window.show();
    }

    /** Gives the count its backdrop and the time to find that there is none. */
    void offerBackdrop()
    {
        const PaintCounter counter(&count);
        giveBackdrop();
        if (!QTest::qWaitFor([&] { return counter.paints > 0; }, waitMs))
            qFatal("nothing is painted");
        QCoreApplication::processEvents();
    }

    QImage picture() { return window.grab().toImage(); }

    bool isTaken() const { return count.autoFillBackground(); }

    QWidget window;
    QGroupBox frame;
    QLabel count;
};

QPalette paletteWithWindow(const QColor &color)
{
    QPalette palette = QApplication::palette();
    palette.setColor(QPalette::Window, color);
    return palette;
}

} // namespace

class BackdropTest : public QObject
{
    Q_OBJECT

private slots:
    void everyPixelStaysAsItIs_data();
    void everyPixelStaysAsItIs();
    void theColourIsTakenOnce();
    void aChangeOfTheTextPaintsNothingElse();
    void coloursFollowTheDesktop();
    void coloursFollowTheActiveWindow();
    void aGroundOfSeveralColoursStaysVisible();
    void aTextThatFillsTheLabelLeavesItAsItIs();
};

void BackdropTest::everyPixelStaysAsItIs_data()
{
    QTest::addColumn<QColor>("windowColor");

    QTest::newRow("light") << QColor(239, 239, 239);
    QTest::newRow("dark") << QColor(50, 50, 50);
    QTest::newRow("coloured") << QColor(200, 220, 240);
}

void BackdropTest::everyPixelStaysAsItIs()
{
    QFETCH(const QColor, windowColor);
    const QPalette before = QApplication::palette();
    QApplication::setPalette(paletteWithWindow(windowColor));
    CountingWindow plain;
    CountingWindow backed;
    backed.giveBackdrop();
    QTRY_VERIFY_WITH_TIMEOUT(backed.isTaken(), waitMs);

    for (const char *text : {"0", "7", "123456", "4294967295"}) {
        plain.count.setText(QLatin1String(text));
        backed.count.setText(QLatin1String(text));
        QCOMPARE(backed.picture(), plain.picture());
    }
    QApplication::setPalette(before);
}

void BackdropTest::theColourIsTakenOnce()
{
    CountingWindow window;
    QVERIFY(QTest::qWaitForWindowExposed(&window.window));
    QCoreApplication::processEvents();
    const PaintCounter frame(&window.frame);

    window.giveBackdrop();
    QTRY_VERIFY_WITH_TIMEOUT(window.isTaken(), waitMs);
    const PaintCounter count(&window.count);
    window.count.update();
    QTRY_VERIFY_WITH_TIMEOUT(count.paints > 0, waitMs);
    QCoreApplication::processEvents();

    // With the window, and for the look beside the text.
    QCOMPARE(frame.paints, 2);
}

void BackdropTest::aChangeOfTheTextPaintsNothingElse()
{
    CountingWindow window;
    PaintCounter frame(&window.frame);
    PaintCounter count(&window.count);
    QTRY_VERIFY_WITH_TIMEOUT(frame.paints > 0, waitMs);
    frame.paints = 0;
    window.count.setText(QStringLiteral("1"));
    QTRY_VERIFY_WITH_TIMEOUT(frame.paints > 0, waitMs);

    window.giveBackdrop();
    QTRY_VERIFY_WITH_TIMEOUT(window.isTaken(), waitMs);
    QCoreApplication::processEvents();
    frame.paints = 0;
    count.paints = 0;
    window.count.setText(QStringLiteral("2"));
    QTRY_VERIFY_WITH_TIMEOUT(count.paints > 0, waitMs);
    QCOMPARE(frame.paints, 0);
}

void BackdropTest::coloursFollowTheDesktop()
{
    const QPalette before = QApplication::palette();
    CountingWindow plain;
    CountingWindow backed;
    backed.giveBackdrop();
    QTRY_VERIFY_WITH_TIMEOUT(backed.isTaken(), waitMs);

    QApplication::setPalette(paletteWithWindow(Qt::darkCyan));

    QTRY_COMPARE_WITH_TIMEOUT(backed.picture(), plain.picture(), waitMs);
    QVERIFY(backed.isTaken());
    QApplication::setPalette(before);
}

void BackdropTest::coloursFollowTheActiveWindow()
{
    const QPalette before = QApplication::palette();
    QPalette palette = before;
    palette.setColor(QPalette::Active, QPalette::Window, QColor(200, 220, 240));
    palette.setColor(QPalette::Inactive, QPalette::Window, QColor(120, 120, 120));
    QApplication::setPalette(palette);
    CountingWindow plain;
    CountingWindow backed;
    QWidget other;
    other.show();
    backed.giveBackdrop();
    QApplication::setActiveWindow(&backed.window);
    QTRY_VERIFY_WITH_TIMEOUT(backed.isTaken(), waitMs);
    const QImage active = backed.picture();

    QApplication::setActiveWindow(&other);

    QTRY_COMPARE_WITH_TIMEOUT(backed.picture(), plain.picture(), waitMs);
    QVERIFY(backed.picture() != active);
    QApplication::setPalette(before);
}

void BackdropTest::aGroundOfSeveralColoursStaysVisible()
{
    CountingWindow window;
    QLinearGradient gradient(0, 0, 300, 0);
    gradient.setColorAt(0, Qt::white);
    gradient.setColorAt(1, Qt::gray);
    QPalette palette = window.window.palette();
    palette.setBrush(QPalette::Window, gradient);
    window.window.setPalette(palette);
    const QImage before = window.picture();

    window.offerBackdrop();

    QCOMPARE(window.picture(), before);
    QVERIFY(!window.isTaken());
}

void BackdropTest::aTextThatFillsTheLabelLeavesItAsItIs()
{
    CountingWindow window;
    window.count.setText(QString(80, QLatin1Char('8')));
    window.offerBackdrop();
    QVERIFY(!window.isTaken());
}

QTEST_MAIN(BackdropTest)
#include "tst_backdrop.moc"
