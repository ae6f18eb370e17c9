#include "form_tables.h"

#include <QDialog>
#include <QtTest>

#include <memory>

namespace {

constexpr QSize unlimited(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);

/** A resource set of one file in the root folder, in Qt's compiled form (version 1). */
QByteArray compiledResource(const QString &fileName, const QByteArray &content)
{
    const quint32 header = 20;
    const quint32 tree = 2 * 14;
    const quint32 names = 2 + 4 + 2 * static_cast<quint32>(fileName.size());
    QByteArray blob;
    QDataStream out(&blob, QIODevice::WriteOnly);
    out.writeRawData("qres", 4);
    out << quint32(1) << header << header + tree + names << header + tree;
    out << quint32(0) << quint16(2) << quint32(1) << quint32(1); // the root: one child, node 1
    out << quint32(0) << quint16(0) << quint16(0) << quint16(1) << quint32(0);
    out << quint16(fileName.size()) << qt_hash(fileName);
    for (const QChar letter : fileName)
        out << letter.unicode();
    out << content;
    return blob;
}

enum Flag { Off, On, Untouched };

} // namespace

Q_DECLARE_METATYPE(Flag)
Q_DECLARE_METATYPE(QPalette::ColorGroup)
Q_DECLARE_METATYPE(QPalette::ColorRole)

class FormPropertiesTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void sizeIsLimited_data();
    void sizeIsLimited();
    void otherWidgetsHaveNoLimits();
    void iconOffersItsImage_data();
    void iconOffersItsImage();
    void wiresharkIconOffersNoImage();
    void wiresharkIconIsAskedForByName();
    void logoIsShown_data();
    void logoIsShown();
    void buttonFlags_data();
    void buttonFlags();
    void rowButtonsKeepTheirHeight_data();
    void rowButtonsKeepTheirHeight();
    void fontDiffersInSizeOnly_data();
    void fontDiffersInSizeOnly();
    void otherLabelsUseTheDefaultFont();
    void tagLineIsAlignedLeft_data();
    void tagLineIsAlignedLeft();
    void paletteSetsTwoRoles_data();
    void paletteSetsTwoRoles();

private:
    template<typename T>
    T *current() const
    {
        return m_form->window.findChild<T *>(QTest::currentDataTag());
    }

    std::unique_ptr<Form> m_form;
};

void FormPropertiesTest::init()
{
    m_form = std::make_unique<Form>();
}

void FormPropertiesTest::sizeIsLimited_data()
{
    QTest::addColumn<QSize>("minimum");
    QTest::addColumn<QSize>("maximum");
    QTest::newRow("stackedWidget") << QSize(700, 400) << unlimited;
    QTest::newRow("refreshComButton") << QSize(0, 0) << QSize(30, 30);
    QTest::newRow("devConnectButton") << QSize(100, 32) << QSize(200, 16777215);
    QTest::newRow("devDisconnectButton") << QSize(100, 32) << QSize(200, 16777215);
    QTest::newRow("channelSelect") << QSize(150, 0) << unlimited;
    QTest::newRow("OffBtn") << QSize(0, 0) << QSize(50, 40);
    QTest::newRow("OnBtn") << QSize(0, 0) << QSize(50, 40);
    QTest::newRow("startWsButton") << QSize(100, 32) << QSize(300, 16777215);
}

void FormPropertiesTest::sizeIsLimited()
{
    QFETCH(QSize, minimum);
    QFETCH(QSize, maximum);
    QCOMPARE(current<QWidget>()->minimumSize(), minimum);
    QCOMPARE(current<QWidget>()->maximumSize(), maximum);
}

void FormPropertiesTest::otherWidgetsHaveNoLimits()
{
    const QStringList limited {"stackedWidget",
                               "refreshComButton",
                               "devConnectButton",
                               "devDisconnectButton",
                               "channelSelect",
                               "OffBtn",
                               "OnBtn",
                               "startWsButton"};
    for (const FormObject &object : formObjects) {
        const auto *widget = m_form->window.findChild<QWidget *>(object.name);
        if (!widget || limited.contains(object.name))
            continue;
        QVERIFY2(widget->minimumSize().isNull(), object.name);
        QVERIFY2(widget->maximumSize() == unlimited, object.name);
    }
}

void FormPropertiesTest::iconOffersItsImage_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("refreshComButton") << ":/view-refresh.png";
    QTest::newRow("devConnectButton") << ":/stock_connect.png";
    QTest::newRow("devDisconnectButton") << ":/stock_disconnect.png";
}

void FormPropertiesTest::iconOffersItsImage()
{
    QFETCH(QString, path);
    const auto *button = current<QPushButton>();
    QCOMPARE(button->iconSize(), QSize(24, 24));
    QCOMPARE(button->icon().availableSizes(), (QList<QSize> {QSize(24, 24)}));
    QCOMPARE(button->icon().pixmap(24, 24).toImage(), QPixmap(path).toImage());
    QVERIFY(button->icon().availableSizes(QIcon::Normal, QIcon::On).isEmpty());
    QVERIFY(button->icon().availableSizes(QIcon::Disabled, QIcon::Off).isEmpty());
}

void FormPropertiesTest::wiresharkIconOffersNoImage()
{
    QCOMPARE(m_form->ui.startWsButton->iconSize(), QSize(16, 16));
    QVERIFY(m_form->ui.startWsButton->icon().availableSizes().isEmpty());
    for (const QPushButton *button : {m_form->ui.OffBtn, m_form->ui.OnBtn}) {
        QCOMPARE(button->iconSize(), QSize(24, 24));
        QVERIFY(button->icon().isNull());
    }
}

void FormPropertiesTest::wiresharkIconIsAskedForByName()
{
    QFile image(":/stock_connect.png");
    QVERIFY(image.open(QIODevice::ReadOnly));
    const QByteArray set = compiledResource("wireshark.png", image.readAll());
    const auto *data = reinterpret_cast<const uchar *>(set.constData());
    QVERIFY(QResource::registerResource(data));
    QVERIFY(QFile::exists(":/wireshark.png"));
    const QList<QSize> sizes = Form().ui.startWsButton->icon().availableSizes();
    QVERIFY(QResource::unregisterResource(data));
    QCOMPARE(sizes, (QList<QSize> {QSize(24, 24)}));
}

void FormPropertiesTest::logoIsShown_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("logo_2") << ":/fennix.png";
    QTest::newRow("logo_3") << ":/fennix.png";
}

void FormPropertiesTest::logoIsShown()
{
    QFETCH(QString, path);
    const auto shown = current<QLabel>()->property("pixmap").value<QPixmap>();
    QVERIFY(!shown.isNull());
    QCOMPARE(shown.toImage(), QPixmap(path).toImage());
}

void FormPropertiesTest::buttonFlags_data()
{
    QTest::addColumn<Flag>("isDefault");
    QTest::addColumn<bool>("isFlat");
    QTest::newRow("refreshComButton") << Untouched << true;
    QTest::newRow("devConnectButton") << On << false;
    QTest::newRow("backBtn_6") << Untouched << false;
    QTest::newRow("continueBtn") << On << false;
    QTest::newRow("installFwBtn") << On << false;
    QTest::newRow("backBtn") << Untouched << false;
    QTest::newRow("backBtn_2") << On << false;
    QTest::newRow("backBtn_3") << On << false;
    QTest::newRow("backBtn_4") << On << false;
    QTest::newRow("backBtn_5") << On << false;
    QTest::newRow("devDisconnectButton") << Off << false;
    QTest::newRow("OffBtn") << Untouched << false;
    QTest::newRow("OnBtn") << Off << false;
    QTest::newRow("startWsButton") << Off << false;
}

void FormPropertiesTest::buttonFlags()
{
    QFETCH(Flag, isDefault);
    QFETCH(bool, isFlat);
    auto *button = current<QPushButton>();
    QCOMPARE(button->autoDefault(), isDefault == On);
    QCOMPARE(button->isDefault(), isDefault == On);
    QCOMPARE(button->isFlat(), isFlat);

    // Only inside a dialog does an untouched button differ from one that was set to false.
    QDialog dialog;
    button->setParent(&dialog);
    QCOMPARE(button->autoDefault(), isDefault != Off);
}

void FormPropertiesTest::rowButtonsKeepTheirHeight_data()
{
    QTest::addColumn<QSizePolicy>("policy");
    const QSizePolicy untouched = QPushButton().sizePolicy();
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setHeightForWidth(untouched.hasHeightForWidth());
    QTest::newRow("refreshComButton") << policy;
    QTest::newRow("OffBtn") << policy;
    QTest::newRow("OnBtn") << policy;
    QTest::newRow("devConnectButton") << untouched;
    QTest::newRow("startWsButton") << untouched;
}

void FormPropertiesTest::rowButtonsKeepTheirHeight()
{
    QFETCH(QSizePolicy, policy);
    QCOMPARE(current<QPushButton>()->sizePolicy(), policy);
}

void FormPropertiesTest::fontDiffersInSizeOnly_data()
{
    QTest::addColumn<int>("points");
    QTest::newRow("label_firmwareInfo") << 13;
    QTest::newRow("label_firmwareStatus") << 13;
    QTest::newRow("label_21") << 22;
    QTest::newRow("label_3") << 22;
    QTest::newRow("label_9") << 11;
    QTest::newRow("label_10") << 11;
    QTest::newRow("label_14") << 11;
    QTest::newRow("label_18") << 11;
}

void FormPropertiesTest::fontDiffersInSizeOnly()
{
    QFETCH(int, points);
    QFont expected = m_form->window.font();
    expected.setPointSize(points);
    QCOMPARE(current<QLabel>()->font().toString(), expected.toString());

    // Whatever else the window's font says is inherited.
    QFont changed("a family of the user's", 40, QFont::Bold, true);
    m_form->window.setFont(changed);
    changed.setPointSize(points);
    QCOMPARE(current<QLabel>()->font().toString(), changed.toString());
}

void FormPropertiesTest::otherLabelsUseTheDefaultFont()
{
    const QStringList sized {"label_firmwareInfo",
                             "label_firmwareStatus",
                             "label_21",
                             "label_3",
                             "label_9",
                             "label_10",
                             "label_14",
                             "label_18"};
    for (const FormObject &object : formObjects) {
        const auto *widget = m_form->window.findChild<QWidget *>(object.name);
        if (widget && !sized.contains(object.name))
            QVERIFY2(!widget->testAttribute(Qt::WA_SetFont), object.name);
    }
}

void FormPropertiesTest::tagLineIsAlignedLeft_data()
{
    QTest::addColumn<int>("lineWidth");
    QTest::newRow("version_3") << 1;
    QTest::newRow("version_4") << 1;
}

void FormPropertiesTest::tagLineIsAlignedLeft()
{
    QFETCH(int, lineWidth);
    QCOMPARE(current<QLabel>()->alignment(), Qt::AlignLeft | Qt::AlignVCenter);
    QCOMPARE(current<QLabel>()->lineWidth(), lineWidth);
    QCOMPARE(current<QLabel>()->midLineWidth(), 0);
}

void FormPropertiesTest::paletteSetsTwoRoles_data()
{
    QTest::addColumn<QPalette::ColorGroup>("group");
    QTest::addColumn<QPalette::ColorRole>("role");
    QTest::addColumn<int>("grey");
    QTest::newRow("active base") << QPalette::Active << QPalette::Base << 255;
    QTest::newRow("active window") << QPalette::Active << QPalette::Window << 247;
    QTest::newRow("inactive base") << QPalette::Inactive << QPalette::Base << 255;
    QTest::newRow("inactive window") << QPalette::Inactive << QPalette::Window << 247;
    QTest::newRow("disabled base") << QPalette::Disabled << QPalette::Base << 247;
    QTest::newRow("disabled window") << QPalette::Disabled << QPalette::Window << 247;
}

void FormPropertiesTest::paletteSetsTwoRoles()
{
    QFETCH(QPalette::ColorGroup, group);
    QFETCH(QPalette::ColorRole, role);
    QFETCH(int, grey);
    const QPalette palette = m_form->window.palette();
    QCOMPARE(palette.brush(group, role), QBrush(QColor(grey, grey, grey, 255), Qt::SolidPattern));

    QPalette others = QApplication::palette();
    for (const auto each : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        others.setBrush(each, QPalette::Base, palette.brush(each, QPalette::Base));
        others.setBrush(each, QPalette::Window, palette.brush(each, QPalette::Window));
    }
    QCOMPARE(palette, others);
}

QTEST_MAIN(FormPropertiesTest)
#include "tst_form_properties.moc"
