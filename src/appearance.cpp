#include "appearance.h"

#include <QApplication>
#include <QFontInfo>
#include <QMainWindow>
#include <QPushButton>
#include <QRawFont>
#include <QStyle>
#include <QTextBlock>
#include <QTextBrowser>

#include <algorithm>

namespace {

/** In percent. A font narrower than this is worse to read than a text that is cut. */
constexpr int narrowestStretch = 60;

/** Returns whether the texts of @p palette are dark enough for the form's light backgrounds. */
bool hasDarkTexts(const QPalette &palette)
{
    const QBrush texts[] = {palette.windowText(), palette.text(), palette.buttonText()};
    return std::all_of(std::begin(texts), std::end(texts), [](const QBrush &text) {
        return qGray(text.color().rgb()) < qGray(QColor(Qt::darkGray).rgb());
    });
}

/** Rich text keeps the colour that the desktop's links had when it was set. */
void colorLinks(const QTextBrowser &browser)
{
    QTextCharFormat format;
    format.setForeground(browser.palette().link());
    for (QTextBlock block = browser.document()->begin(); block.isValid(); block = block.next()) {
        const auto ranges = block.textFormats();
        for (const QTextLayout::FormatRange &range : ranges) {
            if (!range.format.isAnchor() || range.format.foreground() == format.foreground())
                continue;
            QTextCursor link(block);
            link.setPosition(block.position() + range.start);
            link.setPosition(link.position() + range.length, QTextCursor::KeepAnchor);
            link.mergeCharFormat(format);
        }
    }
}

/** Returns the height that letters need in the middle of a place: mostly less than their font's. */
double heightOf(const QVector<quint32> &glyphs, const QRawFont &font)
{
    double spare = font.ascent();
    for (const quint32 glyph : glyphs) {
        const QRectF ink = font.boundingRect(glyph);
        spare = std::min({spare, font.ascent() + ink.top(), font.descent() - ink.bottom()});
    }
    return font.ascent() + font.descent() - 2 * spare;
}

/** Returns the share of its width and height, up to 1, for which each text has room. */
QSizeF leastRoom(const QWidget &pages, const QFont &font)
{
    QSizeF least(1, 1);
    // Resized instead of looked for again, which takes long.
    const QRawFont original = QRawFont::fromFont(font);
    QHash<int, QRawFont> resized;
    const auto widgets = pages.findChildren<const QWidget *>();
    for (const QWidget *widget : widgets) {
        const QString text =
            widget->property("text").toString() + widget->property("title").toString();
        // What is in a row has room to spare.
        if (text.isEmpty() || Qt::mightBeRichText(text) || widget->parentWidget()->layout())
            continue;
        QSizeF room = widget->size();
        if (const auto *button = qobject_cast<const QPushButton *>(widget))
            room.rwidth() -= button->style()->pixelMetric(QStyle::PM_ButtonMargin)
                + button->icon().actualSize(button->iconSize()).width();
        const double points = widget->font().pointSizeF(); // Negative if set in pixels.
        const int pixels =
            points > 0 ? qRound(points * widget->logicalDpiY() / 72) : widget->font().pixelSize();
        QRawFont &raw = *resized.insert(pixels, resized.value(pixels, original));
        raw.setPixelSize(pixels);
        const QVector<quint32> glyphs = raw.glyphIndexesForString(text);
        const auto advances = raw.advancesForGlyphIndexes(glyphs, QRawFont::KernedAdvances);
        QSizeF needed(0, raw.ascent() + raw.descent());
        for (const QPointF &advance : advances)
            needed.rwidth() += advance.x();
        if (needed.height() > room.height())
            needed.setHeight(heightOf(glyphs, raw));
        least = least.boundedTo({room.width() / needed.width(), room.height() / needed.height()});
    }
    return least;
}

/** Condenses @p font until no text of @p pages is too wide; returns whether none is too high. */
bool condense(QFont *font, const QWidget &pages)
{
    int stretch = font->stretch() == QFont::AnyStretch ? QFont::Unstretched : font->stretch();
    QSizeF room = leastRoom(pages, *font);
    while (room.width() < 1 && stretch > narrowestStretch) {
        // Fonts become narrower in steps, so that the room is a first guess only.
        stretch = qBound(narrowestStretch, static_cast<int>(stretch * room.width()), stretch - 1);
        font->setStretch(stretch);
        room = leastRoom(pages, *font);
    }
    return room.height() >= 1;
}

/** Returns a font for @p pages that sets only what cannot be the desktop's. */
QFont fittingFont(const QWidget &pages)
{
    QFont own;
    if (condense(&own, pages))
        return own;
    // Widespread families that are low for their size.
    for (const char *family : {"Liberation Sans", "DejaVu Sans", "FreeSans"}) {
        QFont other;
        other.setFamily(QLatin1String(family));
        if (condense(&other, pages) && QFontInfo(other).family() == other.family())
            return other;
    }
    return own;
}

} // namespace

Appearance::Appearance(QMainWindow *window)
    : QObject(window)
    , m_window(window)
    , m_formPalette(window->palette())
{
    adapt();
    // Queued, since the widgets learn of a change later.
    connect(qApp, &QApplication::fontChanged, this, &Appearance::adapt, Qt::QueuedConnection);
    connect(qApp, &QApplication::paletteChanged, this, &Appearance::adapt, Qt::QueuedConnection);
}

void Appearance::adapt()
{
    QPalette palette = m_formPalette;
    if (!hasDarkTexts(QApplication::palette())) {
        QPalette light = QApplication::style()->standardPalette();
        // The own palette of a dark style is dark, too.
        if (!hasDarkTexts(light))
            light = QPalette(QColor(Qt::lightGray));
        // As if every colour were set: the desktop's would replace the others.
        light.resolve(~0U);
        palette = palette.resolve(light);
    }
    m_window->setPalette(palette);
    QWidget *pages = m_window->centralWidget();
    const auto browsers = pages->findChildren<const QTextBrowser *>();
    for (const QTextBrowser *browser : browsers)
        colorLinks(*browser);
    pages->setFont(fittingFont(*pages));
}
