#include "appearance.h"
#include "mainwindow.h"
#include "readability.h"
#include "text_cuts.h"

#include <QFontDatabase>
#include <QLabel>
#include <QProxyStyle>
#include <QPushButton>
#include <QStyleFactory>
#include <QStyleOption>
#include <QtTest>

namespace {

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

/** A style with too little room for the text of one kind of place, unless it is condensed. */
class TightStyle : public QProxyStyle
{
public:
    enum Place { Title, ButtonWithIcon };

    explicit TightStyle(Place place)
        : QProxyStyle("Fusion")
        , m_place(place)
    { }

    QRect subControlRect(ComplexControl control, const QStyleOptionComplex *option,
                         SubControl subControl, const QWidget *widget) const override
    {
        QRect rect = QProxyStyle::subControlRect(control, option, subControl, widget);
        if (m_place == Title && subControl == SC_GroupBoxLabel && widget)
            rect.setWidth(rect.width() + (isCondensed(*widget) ? 3 : -3));
        return rect;
    }

    /** The icon leaves a little less than the text takes. */
    QRect subElementRect(SubElement element, const QStyleOption *option,
                         const QWidget *widget) const override
    {
        QRect rect = QProxyStyle::subElementRect(element, option, widget);
        const auto *button = qobject_cast<const QPushButton *>(widget);
        if (m_place == ButtonWithIcon && element == SE_PushButtonContents && button
            && button->objectName() == "devConnectButton") {
            const int text = button->fontMetrics().horizontalAdvance(button->text());
            rect.setWidth(button->iconSize().width() + text + (isCondensed(*button) ? 8 : 2));
        }
        return rect;
    }

private:
    static bool isCondensed(const QWidget &widget)
    {
        return widget.font().stretch() != QFont::AnyStretch
            && widget.font().stretch() < QFont::Unstretched;
    }

    const Place m_place;
};

/** A style that has a palette of its own. */
class ColouredStyle : public QProxyStyle
{
public:
    explicit ColouredStyle(QPalette palette)
        : QProxyStyle("Fusion")
        , m_palette(std::move(palette))
    { }

    QPalette standardPalette() const override { return m_palette; }

private:
    const QPalette m_palette;
};

} // namespace

Q_DECLARE_METATYPE(TightStyle::Place)

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
    void isNeverCondensedBeyondReading();
    void everyKindOfPlaceCounts_data();
    void everyKindOfPlaceCounts();
    void followsTheDesktop();
    void textsAreReadable_data();
    void textsAreReadable();
    void aLightDesktopKeepsItsColours();
    void theStylesOwnLightColoursComeFirst();
    void aDarkStyleGetsLightColoursToo();

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
    QApplication::setStyle(QStyleFactory::create("Fusion"));
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

    const Appearance appearance;

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

    const Appearance appearance;

    QCOMPARE(QApplication::font(), narrow);
}

void AppearanceTest::aFontThatIsTooWideIsCondensed()
{
    QApplication::setFont(QFont("DejaVu Sans", 9));

    const Appearance appearance;

    const QFont font = QApplication::font();
    QCOMPARE(font.family(), QString("DejaVu Sans"));
    QVERIFY2(font.stretch() >= 80 && font.stretch() < 90, QByteArray::number(font.stretch()));
}

void AppearanceTest::aFontThatIsTooHighGivesWayToAnother()
{
    QApplication::setFont(QFont("Open Sans", 12));

    const Appearance appearance;

    QCOMPARE(QApplication::font().family(), QString("Liberation Sans"));
}

void AppearanceTest::isNeverCondensedBeyondReading()
{
    QApplication::setFont(QFont("DejaVu Sans", 40));

    const Appearance appearance;

    QCOMPARE(QApplication::font().stretch(), 60);
}

void AppearanceTest::everyKindOfPlaceCounts_data()
{
    QTest::addColumn<TightStyle::Place>("place");
    QTest::newRow("a title") << TightStyle::Title;
    QTest::newRow("a button with an icon") << TightStyle::ButtonWithIcon;
}

void AppearanceTest::everyKindOfPlaceCounts()
{
    QFETCH(TightStyle::Place, place);
    QApplication::setFont(QFont("FreeSans", 9));
    QApplication::setStyle(new TightStyle(place));

    const Appearance appearance;

    QVERIFY(QApplication::font().stretch() >= 90 && QApplication::font().stretch() < 100);
}

void AppearanceTest::followsTheDesktop()
{
    const Appearance appearance;
    MainWindow window;
    const QLabel *label = window.findChild<QLabel *>("label_2");

    for (const int pointSize : {12, 13}) {
        QApplication::setFont(QFont("DejaVu Sans", pointSize));
        QTRY_VERIFY(label->sizeHint().width() <= label->width());
        QCOMPARE(label->font().pointSize(), pointSize);
    }
    QApplication::setPalette(darkPalette());
    QTRY_COMPARE(unreadableTexts(window), QStringList());
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
    QApplication::setPalette(desktop);

    const Appearance appearance;

    const MainWindow window;
    const QString unreadable = unreadableTexts(window).join("; ");
    QVERIFY2(unreadable.isEmpty(), qPrintable(unreadable));
}

void AppearanceTest::aLightDesktopKeepsItsColours()
{
    QPalette light = m_palette;
    light.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
    light.setColor(QPalette::WindowText, QColor(0x23, 0x26, 0x29));
    QApplication::setPalette(light);

    const Appearance appearance;

    QCOMPARE(QApplication::palette(), light);
}

void AppearanceTest::theStylesOwnLightColoursComeFirst()
{
    QPalette light = m_palette;
    light.setColor(QPalette::Highlight, QColor(0x1b, 0x6a, 0x94));
    QApplication::setStyle(new ColouredStyle(light));
    QApplication::setPalette(darkPalette());

    const Appearance appearance;

    QCOMPARE(QApplication::palette().color(QPalette::Highlight), QColor(0x1b, 0x6a, 0x94));
    QCOMPARE(QApplication::palette().color(QPalette::WindowText), QColor(Qt::black));
}

void AppearanceTest::aDarkStyleGetsLightColoursToo()
{
    QApplication::setStyle(new ColouredStyle(darkPalette()));
    QApplication::setPalette(darkPalette());

    const Appearance appearance;

    const MainWindow window;
    QCOMPARE(unreadableTexts(window), QStringList());
}

QTEST_MAIN(AppearanceTest)

#include "tst_appearance.moc"
