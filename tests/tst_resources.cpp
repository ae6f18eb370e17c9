#include <QDir>
#include <QImage>
#include <QResource>
#include <QtEndian>
#include <QtTest>

#include <algorithm>
#include <utility>

int qInitResources_images();
int qCleanupResources_images();

namespace {

struct Picture
{
    const char *path;
    int bytes;
    QSize pixels;
    int colourType; // of the PNG header: 2 is RGB, 6 is RGBA
};

constexpr int rgb = 2;
constexpr int rgba = 6;
const char iconSet[] = ":/vk_logo.icns";

const Picture pictures[] = {
    {":/configure_wireshark.png", 14830, {595, 243}, rgba},
    {":/displayfilter_ttl.PNG", 8538, {487, 90}, rgba},
    {":/Tarvos.png", 9553, {274, 66}, rgba},
    {":/stock_disconnect.png", 449, {24, 24}, rgba},
    {":/view-refresh.png", 993, {24, 24}, rgba},
    {":/fennix.png", 3681, {174, 66}, rgba},
    {":/stock_connect.png", 420, {24, 24}, rgba},
    {":/vk_logo_48px.png", 5083, {48, 48}, rgb},
    {":/npcapadapter.png", 4430, {251, 99}, rgba},
    {":/loopbackadaptor.png", 4426, {251, 88}, rgba},
    {":/lanadaptor.PNG", 4492, {255, 91}, rgba},
    {":/displayfilter.PNG", 8172, {495, 93}, rgba},
    {":/cmdadmin.png", 6469, {278, 65}, rgba},
};
const int iconSetBytes = 97915;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

quint32 wordAt(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint32>(reinterpret_cast<const uchar *>(bytes.constData()) + offset);
}

/** What a PNG's first chunk says; its fields start behind the signature, a length and a name. */
struct PngHeader
{
    explicit PngHeader(const QByteArray &file)
        : isPng(file.startsWith("\x89PNG\r\n\x1a\n") && file.mid(12, 4) == "IHDR")
        , pixels(isPng ? QSize(int(wordAt(file, 16)), int(wordAt(file, 20))) : QSize())
        , bitDepth(isPng ? file.at(24) : 0)
        , colourType(isPng ? file.at(25) : 0)
    { }

    bool isPng;
    QSize pixels;
    int bitDepth;
    int colourType;
};

struct IconElement
{
    QByteArray type;
    QByteArray content;
};

/** Splits an icon set: behind the magic and the length, each element is a type, its length, data.
 */
QVector<IconElement> iconElements(const QByteArray &file)
{
    QVector<IconElement> elements;
    int offset = 8;
    while (offset + 8 <= file.size()) {
        const int length = int(wordAt(file, offset + 4));
        if (length < 8 || offset + length > file.size())
            return {};
        elements.append({file.mid(offset, 4), file.mid(offset + 8, length - 8)});
        offset += length;
    }
    return elements;
}

} // namespace

class ResourcesTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void fileHasItsSize_data();
    void fileHasItsSize();
    void fileIsStoredAsItIs_data();
    void fileIsStoredAsItIs();
    void pictureHasItsFormat_data();
    void pictureHasItsFormat();
    void setHoldsNothingElse();
    void namesAreCaseSensitive_data();
    void namesAreCaseSensitive();
    void localeDoesNotMatter_data();
    void localeDoesNotMatter();
    void filesCarryNoTimes();
    void setCanBeReleasedAndRegistered();
    void iconSetListsItsElements();
    void iconSetHoldsItsImages_data();
    void iconSetHoldsItsImages();
};

void ResourcesTest::cleanup()
{
    QLocale::setDefault(QLocale::c());
}

void ResourcesTest::fileHasItsSize_data()
{
    QTest::addColumn<int>("bytes");
    for (const Picture &picture : pictures)
        QTest::newRow(picture.path) << picture.bytes;
    QTest::newRow(iconSet) << iconSetBytes;
}

void ResourcesTest::fileHasItsSize()
{
    QFETCH(int, bytes);
    QFile file(QTest::currentDataTag());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.size(), qint64(bytes));
    QCOMPARE(file.readAll().size(), bytes);
}

void ResourcesTest::fileIsStoredAsItIs_data()
{
    fileHasItsSize_data();
}

void ResourcesTest::fileIsStoredAsItIs()
{
    QFETCH(int, bytes);
    // What the set stores, without the unpacking that QFile would do.
    const QResource resource(QTest::currentDataTag());
    QVERIFY(resource.isValid());
    QCOMPARE(resource.size(), qint64(bytes));
    const QByteArray stored(reinterpret_cast<const char *>(resource.data()), bytes);
    QVERIFY(stored == contentOf(QTest::currentDataTag()));
}

void ResourcesTest::pictureHasItsFormat_data()
{
    QTest::addColumn<QSize>("pixels");
    QTest::addColumn<int>("colourType");
    for (const Picture &picture : pictures)
        QTest::newRow(picture.path) << picture.pixels << picture.colourType;
}

void ResourcesTest::pictureHasItsFormat()
{
    QFETCH(QSize, pixels);
    QFETCH(int, colourType);
    const QByteArray content = contentOf(QTest::currentDataTag());
    const PngHeader header(content);
    QVERIFY(header.isPng);
    QCOMPARE(header.pixels, pixels);
    QCOMPARE(header.bitDepth, 8);
    QCOMPARE(header.colourType, colourType);

    const QImage image = QImage::fromData(content);
    QCOMPARE(image.size(), pixels);
    QCOMPARE(image.hasAlphaChannel(), colourType == rgba);
}

void ResourcesTest::setHoldsNothingElse()
{
    QStringList expected {iconSet};
    for (const Picture &picture : pictures)
        expected.append(picture.path);
    QStringList found;
    const QStringList names = QDir(":/").entryList(QDir::Files);
    for (const QString &name : names)
        found.append(":/" + name);
    expected.sort();
    found.sort();
    QCOMPARE(found, expected);
    QCOMPARE(found.size(), 14);
}

void ResourcesTest::namesAreCaseSensitive_data()
{
    QTest::addColumn<bool>("resolves");
    QTest::newRow(":/displayfilter.PNG") << true;
    QTest::newRow(":/displayfilter.png") << false;
    QTest::newRow(":/displayfilter_ttl.png") << false;
    QTest::newRow(":/lanadaptor.png") << false;
    QTest::newRow(":/tarvos.png") << false;
    QTest::newRow(":/wireshark.png") << false;
}

void ResourcesTest::namesAreCaseSensitive()
{
    QFETCH(bool, resolves);
    const QString path = QTest::currentDataTag();
    QCOMPARE(QFile::exists(path), resolves);
    QCOMPARE(QResource(path).isValid(), resolves);
    QCOMPARE(QImage(path).isNull(), !resolves);
}

void ResourcesTest::localeDoesNotMatter_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::newRow("neutral") << QLocale::c();
    QTest::newRow("German") << QLocale("de_DE");
    QTest::newRow("English") << QLocale("en_US");
    QTest::newRow("Arabic") << QLocale("ar_EG");
    QTest::newRow("Chinese") << QLocale("zh_TW");
}

void ResourcesTest::localeDoesNotMatter()
{
    QFETCH(QLocale, locale);
    QLocale::setDefault(locale);
    for (const Picture &picture : pictures) {
        QCOMPARE(contentOf(picture.path).size(), picture.bytes);
        QVERIFY2(QResource(picture.path, locale).isValid(), picture.path);
    }
    QCOMPARE(contentOf(iconSet).size(), iconSetBytes);
}

void ResourcesTest::filesCarryNoTimes()
{
    // From its second version on, the data format stores when each file was modified.
    for (const Picture &picture : pictures)
        QVERIFY2(!QFileInfo(picture.path).lastModified().isValid(), picture.path);
}

void ResourcesTest::setCanBeReleasedAndRegistered()
{
    QVERIFY(QFile::exists(iconSet));
    QCOMPARE(qCleanupResources_images(), 1);
    QVERIFY(!QFile::exists(iconSet));
    QVERIFY(QDir(":/").entryList(QDir::Files).isEmpty());
    QCOMPARE(qInitResources_images(), 1);
    QVERIFY(QFile::exists(iconSet));
}

void ResourcesTest::iconSetListsItsElements()
{
    const QByteArray file = contentOf(iconSet);
    QVERIFY(file.startsWith("icns"));
    QCOMPARE(wordAt(file, 4), quint32(iconSetBytes));

    QVector<IconElement> elements = iconElements(file);
    QVERIFY(elements.size() > 1);
    const IconElement table = elements.takeFirst();
    QCOMPARE(table.type, QByteArray("TOC "));

    QByteArrayList found;
    QByteArray contents;
    for (const IconElement &element : std::as_const(elements)) {
        found.append(element.type);
        const quint32 length = qToBigEndian(quint32(element.content.size()) + 8);
        contents += element.type + QByteArray(reinterpret_cast<const char *>(&length), 4);
    }
    QCOMPARE(table.content, contents);
    std::sort(found.begin(), found.end());
    QCOMPARE(
        found,
        (QByteArrayList {"ic08", "ic09", "icnV", "il32", "is32", "it32", "l8mk", "s8mk", "t8mk"}));
}

void ResourcesTest::iconSetHoldsItsImages_data()
{
    QTest::addColumn<int>("maskBytes");
    QTest::addColumn<QSize>("pixels");
    QTest::newRow("s8mk") << 16 * 16 << QSize();
    QTest::newRow("l8mk") << 32 * 32 << QSize();
    QTest::newRow("t8mk") << 128 * 128 << QSize();
    QTest::newRow("ic08") << 0 << QSize(256, 256);
    QTest::newRow("ic09") << 0 << QSize(512, 512);
}

void ResourcesTest::iconSetHoldsItsImages()
{
    QFETCH(int, maskBytes);
    QFETCH(QSize, pixels);
    const QVector<IconElement> elements = iconElements(contentOf(iconSet));
    const auto element =
        std::find_if(elements.begin(), elements.end(),
                     [](const IconElement &each) { return each.type == QTest::currentDataTag(); });
    QVERIFY(element != elements.end());
    if (maskBytes > 0) {
        QCOMPARE(element->content.size(), maskBytes);
    } else {
        QCOMPARE(PngHeader(element->content).pixels, pixels);
        QCOMPARE(QImage::fromData(element->content).size(), pixels);
    }
}

QTEST_GUILESS_MAIN(ResourcesTest)
#include "tst_resources.moc"
