#include "appearance.h"
#include "mainwindow.h"
#include "text_cuts.h"

#include <QFontDatabase>
#include <QLabel>
#include <QTextBrowser>
#include <QtTest>

#include <cmath>

namespace {

/** Contrast of WCAG 2.1 for text of ordinary size, and for what need only be seen. */
constexpr double readable = 4.5;
constexpr double visible = 3;

double luminance(const QColor &color)
{
    double sum = 0;
    const double weights[] = {0.2126, 0.7152, 0.0722};
    const double channels[] = {color.redF(), color.greenF(), color.blueF()};
    for (int i = 0; i < 3; ++i) {
        const double linear = channels[i] <= 0.03928 ? channels[i] / 12.92
                                                     : std::pow((channels[i] + 0.055) / 1.055, 2.4);
        sum += weights[i] * linear;
    }
    return sum;
}

double contrast(const QPalette &palette, QPalette::ColorGroup group, QPalette::ColorRole text,
                QPalette::ColorRole background)
{
    const double a = luminance(palette.color(group, text)) + 0.05;
    const double b = luminance(palette.color(group, background)) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

/** The dark scheme of a widely used configuration tool. */
QPalette darkPalette()
{
    QPalette palette(QColor(0x3f, 0x3f, 0x3f), QColor(0x22, 0x20, 0x20));
    palette.setColor(QPalette::WindowText, Qt::white);
    palette.setColor(QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::Text, Qt::white);
    palette.setColor(QPalette::Base, QColor(0x2b, 0x2b, 0x2b));
    palette.setColor(QPalette::Link, QColor(0x55, 0xaa, 0xff));
    return palette;
}

} // namespace

class AppearanceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void noTextIsCut_data();
    void noTextIsCut();
    void aFontThatFitsStaysAsItIs();
    void aFontThatIsTooWideIsCondensed();
    void aFontThatIsTooHighGivesWayToAnother();
    void followsTheDesktop();
    void textsAreReadable_data();
    void textsAreReadable();
    void aLightDesktopKeepsItsColours();

private:
    QFont m_font;
    QPalette m_palette;
};

void AppearanceTest::initTestCase()
{
    m_font = QApplication::font();
    m_palette = QApplication::palette();
}

void AppearanceTest::cleanup()
{
    QApplication::setFont(m_font);
    QApplication::setPalette(m_palette);
}

void AppearanceTest::noTextIsCut_data()
{
    QTest::addColumn<QString>("family");
    QTest::addColumn<int>("pointSize");
    for (const char *family : {"DejaVu Sans", "DejaVu Serif", "Liberation Sans", "Roboto",
                               "Open Sans", "Cantarell", "FreeSans"}) {
        for (const int pointSize : {9, 10, 11, 12})
            QTest::addRow("%s %d", family, pointSize) << family << pointSize;
    }
}

void AppearanceTest::noTextIsCut()
{
    QFETCH(QString, family);
    QFETCH(int, pointSize);
    QVERIFY2(QFontDatabase().families().contains(family), "scripts/test installs this font");
    QApplication::setFont(QFont(family, pointSize));

    Appearance::adaptToTheForm();

    const QFont font = QApplication::font();
    QCOMPARE(font.pointSize(), pointSize);
    QCOMPARE(font.weight(), static_cast<int>(QFont::Normal));
    QCOMPARE(font.style(), QFont::StyleNormal);
    MainWindow window;
    window.show();
    const QString cuts = cutTexts(window).join("; ");
    QVERIFY2(cuts.isEmpty(), qPrintable(cuts));
}

void AppearanceTest::aFontThatFitsStaysAsItIs()
{
    const QFont narrow("FreeSans", 9);
    QApplication::setFont(narrow);

    Appearance::adaptToTheForm();

    QCOMPARE(QApplication::font(), narrow);
}

void AppearanceTest::aFontThatIsTooWideIsCondensed()
{
    QApplication::setFont(QFont("DejaVu Sans", 9));

    Appearance::adaptToTheForm();

    const QFont font = QApplication::font();
    QCOMPARE(font.family(), QString("DejaVu Sans"));
    QVERIFY2(font.stretch() >= 80 && font.stretch() < 90, qPrintable(font.toString()));
}

void AppearanceTest::aFontThatIsTooHighGivesWayToAnother()
{
    QApplication::setFont(QFont("Open Sans", 12));

    Appearance::adaptToTheForm();

    QCOMPARE(QApplication::font().family(), QString("Liberation Sans"));
}

void AppearanceTest::followsTheDesktop()
{
    Appearance::adaptToTheForm();
    MainWindow window;

    QApplication::setFont(QFont("DejaVu Sans", 12));
    QApplication::setPalette(darkPalette());

    const QLabel *label = window.findChild<QLabel *>("label_2");
    QTRY_VERIFY(label->sizeHint().width() <= label->width());
    QCOMPARE(label->font().pointSize(), 12);
    QTRY_VERIFY(contrast(label->palette(), QPalette::Active, QPalette::WindowText, QPalette::Window)
                >= readable);
}

void AppearanceTest::textsAreReadable_data()
{
    QTest::addColumn<QPalette>("desktop");
    QTest::newRow("a light desktop") << m_palette;
    QTest::newRow("a dark desktop") << darkPalette();
}

void AppearanceTest::textsAreReadable()
{
    QFETCH(QPalette, desktop);
    struct Pair
    {
        QPalette::ColorRole text;
        QPalette::ColorRole background;
        double least;
    };
    // The pale tones of what is selected are the style's, on a light desktop, too.
    const QVector<Pair> pairs = {
        {QPalette::WindowText, QPalette::Window, readable},
        {QPalette::Text, QPalette::Base, readable},
        {QPalette::ButtonText, QPalette::Button, readable},
        {QPalette::ToolTipText, QPalette::ToolTipBase, readable},
        {QPalette::Link, QPalette::Base, readable},
        {QPalette::HighlightedText, QPalette::Highlight, visible},
    };
    QApplication::setPalette(desktop);

    Appearance::adaptToTheForm();

    MainWindow window;
    QWidgetList widgets = window.findChildren<QWidget *>();
    widgets.append(&window);
    for (const QWidget *widget : qAsConst(widgets)) {
        for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
            for (const Pair &pair : pairs) {
                const double value = contrast(widget->palette(), group, pair.text, pair.background);
                QVERIFY2(
                    value >= pair.least,
                    qPrintable(
                        QString("%1 %2: %3").arg(widget->objectName()).arg(pair.text).arg(value)));
            }
        }
    }
}

void AppearanceTest::aLightDesktopKeepsItsColours()
{
    QPalette light = m_palette;
    light.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
    light.setColor(QPalette::WindowText, QColor(0x23, 0x26, 0x29));
    QApplication::setPalette(light);

    Appearance::adaptToTheForm();

    QCOMPARE(QApplication::palette(), light);
}

QTEST_MAIN(AppearanceTest)

#include "tst_appearance.moc"
