#include "text_cuts.h"

#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QStyleOptionGroupBox>

namespace {

/** Even numbers at every scale in use, so that letters keep their places on the grid of pixels. */
constexpr QSize moreRoom(320, 80);

/** Texts are nearly black, frames and backgrounds are not. */
constexpr int darkest = 110;

/** What is dark of a picture. */
struct Ink
{
    int pixels = 0;
    QRect extent;
};

Ink inkOf(QWidget *widget, const QRect &area)
{
    const QImage image = widget->grab(area).toImage();
    Ink ink;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qGray(image.pixel(x, y)) >= darkest)
                continue;
            ++ink.pixels;
            ink.extent |= QRect(x, y, 1, 1);
        }
    }
    return ink;
}

/** Returns the size of the text on a button, which has a frame. */
QSize textSize(QPushButton *button)
{
    constexpr int frame = 3;
    return inkOf(button, button->rect().adjusted(frame, frame, -frame, -frame)).extent.size();
}

void giveMoreRoom(QWidget *widget)
{
    widget->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    widget->resize(widget->size() + moreRoom);
}

bool isCut(QLabel *label)
{
    const int before = inkOf(label, label->rect()).pixels;
    giveMoreRoom(label);
    return inkOf(label, label->rect()).pixels != before;
}

/** A text in the middle may fall between pixels, and be one wider or narrower for it. */
bool isCut(QPushButton *button)
{
    const QSize before = textSize(button);
    giveMoreRoom(button);
    const QSize difference = textSize(button) - before;
    return difference.width() > 1 || difference.height() > 1;
}

/** A title has no more room in a larger box: compared with a label of the same text. */
bool isCut(QGroupBox *box)
{
    QStyleOptionGroupBox option;
    option.initFrom(box);
    option.text = box->title();
    option.subControls = QStyle::SC_GroupBoxFrame | QStyle::SC_GroupBoxLabel;
    QRect band =
        box->style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxLabel, box);
    band.setLeft(0);
    band.setRight(box->width());
    QLabel label(box->title(), box);
    label.resize(label.sizeHint() + moreRoom);
    const int whole = inkOf(&label, label.rect()).pixels;
    label.hide();
    return inkOf(box, band).pixels != whole;
}

/** Returns the widgets of a kind on a page whose @p text is cut. */
template<typename Widget>
QStringList cutAmong(const QWidget *page, QString (Widget::*text)() const)
{
    QStringList cuts;
    const QList<Widget *> widgets = page->findChildren<Widget *>();
    for (Widget *widget : widgets) {
        // The text of a disabled one is pale.
        widget->setEnabled(true);
        if (!(widget->*text)().isEmpty() && isCut(widget))
            cuts.append(widget->objectName() + ": " + (widget->*text)());
    }
    return cuts;
}

} // namespace

QStringList cutTexts(const QMainWindow &window)
{
    auto *pages = window.findChild<QStackedWidget *>("stackedWidget");
    QStringList cuts;
    for (int i = 0; i < pages->count(); ++i) {
        pages->setCurrentIndex(i);
        const QWidget *page = pages->currentWidget();
        cuts += cutAmong<QGroupBox>(page, &QGroupBox::title) + cutAmong<QLabel>(page, &QLabel::text)
            + cutAmong<QPushButton>(page, &QPushButton::text);
    }
    return cuts;
}
