#include "appearance.h"

#include "ui_mainwindow.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QMainWindow>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOptionButton>
#include <QStyleOptionGroupBox>
#include <QTextDocumentFragment>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace {

/** The least contrast at which WCAG 2.1 calls a text of ordinary size readable. */
constexpr double readableContrast = 4.5;

/** In percent. A font narrower than this is worse to read than a text that is cut. */
constexpr int narrowestStretch = 60;

/** Between the icon and the text of a button, in pixels. */
constexpr int iconSpacing = 4;

/** Linear light of an sRGB channel, both from 0 to 1. */
double linear(double channel)
{
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &color)
{
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF())
        + 0.0722 * linear(color.blueF());
}

bool isReadable(const QColor &text, const QColor &background)
{
    const double a = luminance(text) + 0.05;
    const double b = luminance(background) + 0.05;
    return std::max(a, b) / std::min(a, b) >= readableContrast;
}

/** A text of the form and the room that its widget has for it. */
struct Place
{
    QString text;
    QFontMetrics metrics;
    QSize room;
};

Place placeOf(const QLabel &label)
{
    QString text = label.text();
    if (Qt::mightBeRichText(text))
        text = QTextDocumentFragment::fromHtml(text).toPlainText();
    return {text, label.fontMetrics(), label.contentsRect().size()};
}

Place placeOf(const QPushButton &button)
{
    QStyleOptionButton option;
    option.initFrom(&button);
    QSize room =
        button.style()->subElementRect(QStyle::SE_PushButtonContents, &option, &button).size();
    if (!button.icon().availableSizes().isEmpty())
        room.rwidth() -= button.iconSize().width() + iconSpacing;
    return {button.text(), button.fontMetrics(), room};
}

Place placeOf(const QGroupBox &box)
{
    QStyleOptionGroupBox option;
    option.initFrom(&box);
    option.text = box.title();
    option.subControls = QStyle::SC_GroupBoxFrame | QStyle::SC_GroupBoxLabel;
    const QRect label =
        box.style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxLabel, &box);
    return {box.title(), box.fontMetrics(), label.size()};
}

/** Returns whether the letters of a text in the middle of its place reach out of it. */
bool isHigherThanItsPlace(const Place &place)
{
    const QRect ink = place.metrics.tightBoundingRect(place.text);
    const int baseline =
        (place.room.height() - place.metrics.height()) / 2 + place.metrics.ascent();
    return baseline + ink.top() < 0 || baseline + ink.bottom() >= place.room.height();
}

/** The form in a window that is never shown, to see what suits it. */
class TrialForm
{
public:
    TrialForm() { m_form.setupUi(&m_window); }

    /** Returns whether the texts of @p palette can be read on the form's backgrounds. */
    bool isReadableIn(const QPalette &palette) const;

    /** Returns @p font, condensed until no text is wider than its place, and shows it. */
    QFont condensed(QFont font);

    /** Returns whether some text in the font shown is higher than its place. */
    bool isTooHigh() const;

private:
    template<typename Widget>
    void addPlaces(std::vector<Place> *places) const;
    std::vector<Place> places() const;
    void show(const QFont &font);

    QMainWindow m_window;
    Ui_MainWindow m_form;
};

bool TrialForm::isReadableIn(const QPalette &palette) const
{
    const QPalette own = m_window.palette();
    return isReadable(palette.color(QPalette::WindowText), own.color(QPalette::Window))
        && isReadable(palette.color(QPalette::Text), own.color(QPalette::Base))
        && isReadable(palette.color(QPalette::ButtonText), palette.color(QPalette::Button));
}

template<typename Widget>
void TrialForm::addPlaces(std::vector<Place> *places) const
{
    const auto widgets = m_window.findChildren<Widget *>();
    for (const Widget *widget : widgets) {
        const Place place = placeOf(*widget);
        if (!place.text.isEmpty())
            places->push_back(place);
    }
}

std::vector<Place> TrialForm::places() const
{
    std::vector<Place> places;
    addPlaces<QLabel>(&places);
    addPlaces<QPushButton>(&places);
    addPlaces<QGroupBox>(&places);
    return places;
}

void TrialForm::show(const QFont &font)
{
    m_window.setFont(font);
    const auto layouts = m_window.findChildren<QLayout *>();
    for (QLayout *layout : layouts)
        layout->activate();
}

QFont TrialForm::condensed(QFont font)
{
    double stretch = font.stretch() != QFont::AnyStretch ? font.stretch() : QFont::Unstretched;
    for (show(font); stretch > narrowestStretch; show(font)) {
        double share = 1;
        for (const Place &place : places()) {
            const double width = place.metrics.horizontalAdvance(place.text);
            share = std::min(share, place.room.width() / width);
        }
        if (share >= 1)
            break;
        // Hinting makes fonts narrower in steps, so that the share is a first guess only.
        stretch =
            std::max<double>(narrowestStretch, std::floor(std::min(stretch - 1, stretch * share)));
        font.setStretch(static_cast<int>(stretch));
    }
    return font;
}

bool TrialForm::isTooHigh() const
{
    const std::vector<Place> all = places();
    return std::any_of(all.begin(), all.end(), isHigherThanItsPlace);
}

/** Returns @p palette with each of its colours set: Qt takes others from the desktop's. */
QPalette complete(QPalette palette)
{
    for (int group = 0; group < QPalette::NColorGroups; ++group) {
        for (int role = 0; role < QPalette::NColorRoles; ++role) {
            const auto colorGroup = static_cast<QPalette::ColorGroup>(group);
            const auto colorRole = static_cast<QPalette::ColorRole>(role);
            palette.setBrush(colorGroup, colorRole, palette.brush(colorGroup, colorRole));
        }
    }
    return palette;
}

void adaptPalette(const TrialForm &form)
{
    if (form.isReadableIn(QApplication::palette()))
        return;
    QPalette light = QApplication::style()->standardPalette();
    // The own palette of a dark style is dark, too.
    if (!form.isReadableIn(light)) {
        const std::unique_ptr<QStyle> fusion(QStyleFactory::create(QStringLiteral("Fusion")));
        light = fusion->standardPalette();
    }
    QApplication::setPalette(complete(light));
}

void adaptFont(TrialForm *form)
{
    const QFont desktopFont = QApplication::font();
    QFont font = form->condensed(desktopFont);
    if (form->isTooHigh()) {
        // Wide-spread families that are low for their size.
        const QStringList installed = QFontDatabase().families();
        for (const char *family : {"Liberation Sans", "DejaVu Sans", "FreeSans"}) {
            if (!installed.contains(QLatin1String(family)))
                continue;
            QFont candidate = desktopFont;
            candidate.setFamily(QLatin1String(family));
            candidate = form->condensed(candidate);
            if (!form->isTooHigh()) {
                font = candidate;
                break;
            }
        }
    }
    if (font != desktopFont)
        QApplication::setFont(font);
}

void adapt()
{
    TrialForm form;
    adaptPalette(form);
    adaptFont(&form);
}

} // namespace

Appearance::Appearance()
{
    adapt();
    qApp->installEventFilter(this);
}

void Appearance::scaleWithTheScreen()
{
    QGuiApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

bool Appearance::eventFilter(QObject *watched, QEvent *event)
{
    const bool isChange = event->type() == QEvent::ApplicationFontChange
        || event->type() == QEvent::ApplicationPaletteChange;
    if (isChange && !m_isAdapting) {
        m_isAdapting = true;
        // Once all widgets know of the change. Some desktops make one just after the start.
        QTimer::singleShot(0, this, [this] {
            adapt();
            m_isAdapting = false;
        });
    }
    return QObject::eventFilter(watched, event);
}
