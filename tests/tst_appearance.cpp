#include "appearance.h"
#include "mainwindow.h"
#include "patience.h"
#include "readability.h"
#include "text_cuts.h"

#include <QFontDatabase>
#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>
#include <QProxyStyle>
#include <QPushButton>
#include <QStyleFactory>
#include <QTextBlock>
#include <QTextBrowser>
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

/** The window as main() makes it. */
struct FittedWindow : MainWindow
{
    FittedWindow() { show(); }

    QFont textFont() const { return centralWidget()->font(); }

    const Appearance appearance {this};
};

/** Returns the colour of the only link of @p window's help. */
QColor linkColor(const MainWindow &window)
{
    const QTextDocument *help = window.findChild<QTextBrowser *>("helpTextLinux")->document();
    for (QTextBlock block = help->begin(); block.isValid(); block = block.next()) {
        const auto ranges = block.textFormats();
        for (const QTextLayout::FormatRange &range : ranges) {
            if (range.format.isAnchor())
                return range.format.foreground().color();
        }
    }
    return {};
}

/** Watches what the program must not touch. */
class ApplicationWatch
{
public:
    /** Returns whether the application's font and palette are those of the desktop. */
    bool isUntouched() const
    {
        return QApplication::font() == m_font && QApplication::palette() == m_palette;
    }

private:
    const QFont m_font = QApplication::font();
    const QPalette m_palette = QApplication::palette();
};

} // namespace

class AppearanceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void noTextIsCut_data();
    void noTextIsCut();
    void fittingFontStays();
    void fontSetInPixelsIsMeasuredToo();
    void wideFontIsCondensed();
    void highFontGivesWayToAnother();
    void isNeverCondensedBeyondReading();
    void everyKindOfTextCounts_data();
    void everyKindOfTextCounts();
    void menusKeepTheDesktopsFont();
    void followsTheDesktopsFont();
    void textsAreReadable_data();
    void textsAreReadable();
    void onePaleTextIsOneTooMany_data();
    void onePaleTextIsOneTooMany();
    void followsTheDesktopsColours();
    void formKeepsItsBackgrounds();
    void lightDesktopKeepsItsColours();
    void stylesOwnLightColoursComeFirst();
    void darkStyleGetsLightColoursToo();
    void neverChangesTheApplication();

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
    loseSomePatience();
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

    const FittedWindow window;

    const QFont font = window.textFont();
    QCOMPARE(font.pointSize(), pointSize);
    QCOMPARE(font.weight(), static_cast<int>(QFont::Normal));
    QCOMPARE(font.style(), QFont::StyleNormal);
    const QString cuts = cutTexts(window).join("; ");
    QVERIFY2(cuts.isEmpty(), qPrintable(cuts));
}

void AppearanceTest::fittingFontStays()
{
    const QFont narrow("FreeSans", 9);
    QApplication::setFont(narrow);

    const FittedWindow window;

    QCOMPARE(window.textFont(), narrow);
}

void AppearanceTest::fontSetInPixelsIsMeasuredToo()
{
    QFont wide("DejaVu Sans");
    wide.setPixelSize(20);
    QApplication::setFont(wide);

    const FittedWindow window;

    const QLabel *label = window.findChild<QLabel *>("label_2");
    QCOMPARE(label->font().pixelSize(), 20);
    QVERIFY(label->sizeHint().width() <= label->width());
}

void AppearanceTest::wideFontIsCondensed()
{
    QApplication::setFont(QFont("DejaVu Sans", 9));

    const FittedWindow window;

    const QFont font = window.textFont();
    QCOMPARE(font.family(), QString("DejaVu Sans"));
    QVERIFY2(font.stretch() >= 80 && font.stretch() < 90, QByteArray::number(font.stretch()));
}

void AppearanceTest::highFontGivesWayToAnother()
{
    QApplication::setFont(QFont("Open Sans", 12));

    const FittedWindow window;

    QCOMPARE(window.textFont().family(), QString("Liberation Sans"));
}

void AppearanceTest::isNeverCondensedBeyondReading()
{
    QApplication::setFont(QFont("DejaVu Sans", 40));

    const FittedWindow window;

    QCOMPARE(window.textFont().stretch(), 60);
}

void AppearanceTest::everyKindOfTextCounts_data()
{
    QTest::addColumn<QByteArray>("widget");
    QTest::addColumn<QByteArray>("property");
    QTest::newRow("label") << QByteArray("label_2") << QByteArray("text");
    QTest::newRow("button") << QByteArray("installFwBtn") << QByteArray("text");
    QTest::newRow("button with an icon") << QByteArray("devConnectButton") << QByteArray("text");
    QTest::newRow("title") << QByteArray("groupBox") << QByteArray("title");
}

/** Texts grow by a letter at a time: only the icon or the frame can make the last one too wide. */
void AppearanceTest::everyKindOfTextCounts()
{
    QFETCH(QByteArray, widget);
    QFETCH(QByteArray, property);
    QApplication::setFont(QFont("FreeSans", 9));
    MainWindow window;
    auto *changed = window.findChild<QWidget *>(widget);
    const auto *button = qobject_cast<QPushButton *>(changed);
    const bool hasIcon = button && !button->icon().availableSizes().isEmpty();
    const int room = changed->width() - (hasIcon ? button->iconSize().width() : 0);
    QString text;
    while (changed->fontMetrics().horizontalAdvance(text) <= room)
        text += 'n';
    changed->setProperty(property, text);

    const Appearance appearance(&window);

    const int stretch = changed->font().stretch();
    QVERIFY2(stretch >= 80 && stretch < 100, QByteArray::number(stretch));
    QVERIFY(changed->fontMetrics().horizontalAdvance(text) <= room);
}

void AppearanceTest::menusKeepTheDesktopsFont()
{
    const QFont wide("DejaVu Sans", 9);
    QApplication::setFont(wide);

    const FittedWindow window;

    QVERIFY(window.textFont() != wide);
    QCOMPARE(window.menuBar()->font(), wide);
    const auto menus = window.findChildren<QMenu *>();
    for (const QMenu *menu : menus)
        QCOMPARE(menu->font(), wide);
}

void AppearanceTest::followsTheDesktopsFont()
{
    const FittedWindow window;
    const QLabel *label = window.findChild<QLabel *>("label_2");

    for (const int pointSize : {12, 13}) {
        QApplication::setFont(QFont("DejaVu Sans", pointSize));
        QTRY_VERIFY_WITH_TIMEOUT(label->sizeHint().width() <= label->width(), patienceMs());
        QCOMPARE(label->font().pointSize(), pointSize);
    }
    const QFont narrow("FreeSans", 9);
    QApplication::setFont(narrow);
    QTRY_COMPARE_WITH_TIMEOUT(label->font(), narrow, patienceMs());
}

void AppearanceTest::textsAreReadable_data()
{
    QTest::addColumn<QPalette>("desktop");
    QTest::newRow("light") << m_palette;
    QTest::newRow("dark") << darkPalette();
}

void AppearanceTest::textsAreReadable()
{
    QFETCH(QPalette, desktop);
    QApplication::setPalette(desktop);

    const FittedWindow window;

    const QString unreadable = unreadableTexts(window).join("; ");
    QVERIFY2(unreadable.isEmpty(), qPrintable(unreadable));
    QCOMPARE(linkColor(window), window.palette().color(QPalette::Link));
}

void AppearanceTest::onePaleTextIsOneTooMany_data()
{
    QTest::addColumn<QPalette::ColorRole>("text");
    QTest::addColumn<QPalette::ColorRole>("background");
    QTest::newRow("in windows") << QPalette::WindowText << QPalette::Window;
    QTest::newRow("in fields") << QPalette::Text << QPalette::Base;
    QTest::newRow("on buttons") << QPalette::ButtonText << QPalette::Button;
}

void AppearanceTest::onePaleTextIsOneTooMany()
{
    QFETCH(QPalette::ColorRole, text);
    QFETCH(QPalette::ColorRole, background);
    QPalette desktop = m_palette;
    desktop.setColor(text, Qt::white);
    QApplication::setPalette(desktop);

    const FittedWindow window;

    QVERIFY(contrast(window.palette(), QPalette::Active, text, background) >= 4.5);
}

void AppearanceTest::followsTheDesktopsColours()
{
    QPalette light = m_palette;
    light.setColor(QPalette::Link, Qt::darkGreen);
    const FittedWindow window;

    for (int i = 0; i < 2; ++i) {
        QApplication::setPalette(darkPalette());
        QTRY_COMPARE_WITH_TIMEOUT(unreadableTexts(window), QStringList(), patienceMs());
        QVERIFY(linkColor(window) != darkPalette().color(QPalette::Link));

        QApplication::setPalette(light);
        QTRY_COMPARE_WITH_TIMEOUT(linkColor(window), QColor(Qt::darkGreen), patienceMs());
        QCOMPARE(window.palette().color(QPalette::WindowText), light.color(QPalette::WindowText));
    }
}

void AppearanceTest::formKeepsItsBackgrounds()
{
    const QPalette form = MainWindow().palette();
    QApplication::setPalette(darkPalette());

    const FittedWindow window;

    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        for (const auto role : {QPalette::Base, QPalette::Window})
            QCOMPARE(window.palette().color(group, role), form.color(group, role));
    }
}

void AppearanceTest::lightDesktopKeepsItsColours()
{
    QPalette light = m_palette;
    light.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
    light.setColor(QPalette::WindowText, QColor(0x23, 0x26, 0x29));
    QApplication::setPalette(light);
    const MainWindow plain;

    const FittedWindow window;

    QCOMPARE(window.palette(), plain.palette());
    QCOMPARE(window.palette().color(QPalette::WindowText), QColor(0x23, 0x26, 0x29));
}

void AppearanceTest::stylesOwnLightColoursComeFirst()
{
    QPalette light = m_palette;
    light.setColor(QPalette::Highlight, QColor(0x1b, 0x6a, 0x94));
    QApplication::setStyle(new ColouredStyle(light));
    QApplication::setPalette(darkPalette());

    const FittedWindow window;

    QCOMPARE(window.palette().color(QPalette::Highlight), QColor(0x1b, 0x6a, 0x94));
    QCOMPARE(window.palette().color(QPalette::WindowText), QColor(Qt::black));
}

void AppearanceTest::darkStyleGetsLightColoursToo()
{
    QApplication::setStyle(new ColouredStyle(darkPalette()));
    QApplication::setPalette(darkPalette());

    const FittedWindow window;

    QCOMPARE(unreadableTexts(window), QStringList());
}

void AppearanceTest::neverChangesTheApplication()
{
    QApplication::setFont(QFont("DejaVu Sans", 12));
    QApplication::setPalette(darkPalette());
    const ApplicationWatch watch;

    const FittedWindow window;

    QVERIFY(window.textFont() != QApplication::font());
    QVERIFY(watch.isUntouched());
}

QTEST_MAIN(AppearanceTest)

#include "tst_appearance.moc"
