#include "readability.h"

#include <QMenu>

#include <algorithm>
#include <cmath>

namespace {

/** For texts of ordinary size, and for what need only be seen. */
constexpr double readable = 4.5;
constexpr double visible = 3;

struct Pair
{
    QPalette::ColorRole text;
    QPalette::ColorRole background;
    double least;
};

// The pale tones of what is selected are the style's, on a light desktop, too.
constexpr Pair pairs[] = {
    {QPalette::WindowText, QPalette::Window, readable},
    {QPalette::Text, QPalette::Base, readable},
    {QPalette::ButtonText, QPalette::Button, readable},
    {QPalette::ToolTipText, QPalette::ToolTipBase, readable},
    {QPalette::Link, QPalette::Base, readable},
    {QPalette::HighlightedText, QPalette::Highlight, visible},
};

double luminance(const QColor &color)
{
    const double weights[] = {0.2126, 0.7152, 0.0722};
    const double channels[] = {color.redF(), color.greenF(), color.blueF()};
    double sum = 0;
    for (int i = 0; i < 3; ++i) {
        const double linear = channels[i] <= 0.03928 ? channels[i] / 12.92
                                                     : std::pow((channels[i] + 0.055) / 1.055, 2.4);
        sum += weights[i] * linear;
    }
    return sum;
}

} // namespace

double contrast(const QPalette &palette, QPalette::ColorGroup group, QPalette::ColorRole text,
                QPalette::ColorRole background)
{
    const double a = luminance(palette.color(group, text)) + 0.05;
    const double b = luminance(palette.color(group, background)) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

QStringList unreadableTexts(const QMainWindow &window)
{
    QStringList found;
    QList<const QWidget *> widgets = window.findChildren<const QWidget *>();
    widgets.append(&window);
    for (const QWidget *widget : qAsConst(widgets)) {
        if (qobject_cast<const QMenu *>(widget))
            continue;
        for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
            for (const Pair &pair : pairs) {
                const double value = contrast(widget->palette(), group, pair.text, pair.background);
                if (value < pair.least)
                    found.append(QString("%1, role %2: %3")
                                     .arg(widget->objectName())
                                     .arg(pair.text)
                                     .arg(value));
            }
        }
    }
    return found;
}
