#include "golden_text.h"

#include <QCryptographicHash>
#include <QDir>
#include <QImageReader>
#include <QMetaEnum>
#include <QResource>
#include <QtEndian>
#include <QtTest>

int qInitResources_images();
int qCleanupResources_images();

namespace {

const char iconSet[] = ":/vk_logo.icns";

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

quint32 wordAt(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint32>(reinterpret_cast<const uchar *>(bytes.constData()) + offset);
}

/** The format, the size in pixels and Qt's name of the pixels' format, if @p file is a PNG. */
QString describePng(QByteArray file)
{
    QBuffer buffer(&file);
    QImageReader reader(&buffer, "png");
    const QImage image = reader.read();
    if (image.isNull())
        return {};
    const auto format = QMetaEnum::fromType<QImage::Format>().valueToKey(image.format());
    return QString(" PNG %1x%2 %3").arg(image.width()).arg(image.height()).arg(format);
}

/** A part of an icon set: a header of a type and the length of both, and the data. */
struct IconElement
{
    QByteArray header;
    QByteArray content;
};

/** The parts of an icon set, which follow its magic and its length. */
QVector<IconElement> iconElements(const QByteArray &file)
{
    QVector<IconElement> elements;
    for (int offset = 8; offset + 8 <= file.size();) {
        const int length = int(wordAt(file, offset + 4));
        if (length < 8 || offset + length > file.size())
            return {};
        elements.append({file.mid(offset, 8), file.mid(offset + 8, length - 8)});
        offset += length;
    }
    return elements;
}

/** How the set stores a file: plainly, so that Qt need not unpack it, and without its time. */
QString describeStorage(const QString &path, const QByteArray &content)
{
    const QResource resource(path);
    const QByteArray stored(reinterpret_cast<const char *>(resource.data()), int(resource.size()));
    QString description = stored == content ? " stored plainly" : " packed";
    // From its second version on, the data format tells when a file was modified.
    if (resource.lastModified().isValid())
        description += " with its time";
    return description;
}

/** The set as text: each file with its length, checksum and what it holds. */
QString describeImages()
{
    QString text;
    const QStringList names = QDir(":/").entryList(QDir::Files, QDir::Name);
    for (const QString &name : names) {
        const QByteArray content = contentOf(":/" + name);
        const auto checksum = QCryptographicHash::hash(content, QCryptographicHash::Sha256);
        text += QString(":/%1: %2 bytes").arg(name).arg(content.size()) + describePng(content)
            + describeStorage(":/" + name, content) + "\n    SHA-256 " + checksum.toHex() + '\n';
        if (!content.startsWith("icns"))
            continue;
        const auto elements = iconElements(content);
        for (const IconElement &element : elements)
            text += QString("    %1: %2 bytes")
                        .arg(QString(element.header.left(4)))
                        .arg(element.content.size())
                + describePng(element.content) + '\n';
    }
    return text;
}

} // namespace

class ResourcesTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void imagesAreTheSameInEveryLocale_data();
    void imagesAreTheSameInEveryLocale();
    void namesAreCaseSensitive_data();
    void namesAreCaseSensitive();
    void setCanBeReleasedAndRegistered();
    void iconSetBeginsWithItsTableOfContents();
};

void ResourcesTest::cleanup()
{
    QLocale::setDefault(QLocale::c());
}

void ResourcesTest::imagesAreTheSameInEveryLocale_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::newRow("neutral") << QLocale::c();
    QTest::newRow("German") << QLocale("de_DE");
    QTest::newRow("English") << QLocale("en_US");
    QTest::newRow("Arabic") << QLocale("ar_EG");
    QTest::newRow("Chinese") << QLocale("zh_TW");
}

void ResourcesTest::imagesAreTheSameInEveryLocale()
{
    QFETCH(QLocale, locale);
    QLocale::setDefault(locale);
    QVERIFY(isGoldenText("images.txt", describeImages()));
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

void ResourcesTest::setCanBeReleasedAndRegistered()
{
    QVERIFY(QFile::exists(iconSet));
    QCOMPARE(qCleanupResources_images(), 1);
    QVERIFY(!QFile::exists(iconSet));
    QVERIFY(QDir(":/").entryList(QDir::Files).isEmpty());
    QCOMPARE(qInitResources_images(), 1);
    QVERIFY(QFile::exists(iconSet));
}

void ResourcesTest::iconSetBeginsWithItsTableOfContents()
{
    const QByteArray file = contentOf(iconSet);
    QVERIFY(file.startsWith("icns"));
    QCOMPARE(wordAt(file, 4), quint32(file.size()));

    QVector<IconElement> elements = iconElements(file);
    QVERIFY(elements.size() > 1);
    const IconElement table = elements.takeFirst();
    QVERIFY(table.header.startsWith("TOC "));
    QByteArray headers;
    for (const IconElement &element : qAsConst(elements))
        headers += element.header;
    QCOMPARE(table.content, headers);
}

QTEST_GUILESS_MAIN(ResourcesTest)
#include "tst_resources.moc"
